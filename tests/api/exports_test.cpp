// What every function does before there is anything to hand out, what those hand out that read
// nothing, every card of the devkit by every way to read it, and how values cross the border of the
// library.

#include <regex>

#include "host/host_test.h"
#include "host/output_buffer.h"
#include "reader_model/reader_model.h"

namespace hosttest {
namespace {

class ExportsTest : public HostTest {
 protected:
  // These create no engine, so what they answer shows that there is none.
  void ExpectNoEngine() {
    EXPECT_EQ(library->readCardInit(), 0);
    EXPECT_STREQ(library->readCardErrorInfo(1), "");
  }
};

TEST_F(ExportsTest, WithoutAnEngineNothingIsHandedOutAndNoneIsCreated) {
  ExpectNoEngine();
  EXPECT_EQ(library->readCardDestory(), 0);
  library->readCardStop();
  EXPECT_STREQ(library->readCardGetLastError(), "");
  EXPECT_STREQ(library->readCardGetDN(), "");
  ExpectNoRecord(*library);
  EXPECT_EQ(library->CloseComm(), 1);
  ExpectNoEngine();
  EXPECT_TRUE(folder.Files("errordata").empty());
}

TEST_F(ExportsTest, WhatNeedsAnEngineCreatesIt) {
  const auto& l = *library;
  char uid[IDCARDREADER_UID_BYTES];
  const std::function<void()> calls[] = {[&l] { EXPECT_STREQ(l.readCardGetVersionCode(), ""); },
                                         [&l] { EXPECT_STREQ(l.readCardGetAuthorizeCode(), ""); },
                                         [&l] { EXPECT_STREQ(l.readCardGetComSet(), ""); },
                                         [&l] { EXPECT_STREQ(l.readCardGetSdkVersion(), "V2.84"); },
                                         [&l] { EXPECT_STRNE(l.readCardGetHostDeviceCode(), ""); },
                                         [&l] { EXPECT_EQ(l.readCardGetDeviceStatus(), 0); },
                                         [&l] { EXPECT_EQ(l.readCardGetCardType(), 0); },
                                         [&l] { EXPECT_EQ(l.readCardLog(0), 1); },
                                         [&l] { EXPECT_EQ(l.readCardSetDeviceType(0), 1); },
                                         [&l] { EXPECT_NE(l.readCardBeep(0), 0u); },
                                         [&l, &uid] { EXPECT_EQ(l.readCardGetUID(9, uid), 0); }};
  for (const auto& call : calls) {
    SCOPED_TRACE(&call - calls);
    call();
    EXPECT_STRNE(library->readCardErrorInfo(1), "");
    library->CloseComm();
    ExpectNoEngine();
  }
}

// There is no security module to be asked. Hosts pass more arguments than there are, and the buffer
// is the first or the second: what needs none must not touch it.
TEST_F(ExportsTest, FixedResultsAndValuesAreToTheByteAndNeedNoEngine) {
  const std::string management = "01234567891234567890123456780123456789123456789012345678";
  const struct {
    const char* function;
    std::int32_t result;
    std::string value = {};
  } rows[] = {{"InitComm", 1},
              {"Routon_IC_FindCard", 1},
              {"Routon_Set210Update", 1},
              {"Routon_SetNewVersion", 1},
              {"Routon_StartFindIDCard", 1},
              {"ReadIINSNDN", 1, "0123456789123456"},
              {"Routon_Get210Version", 1, "1"},
              {"SDT_OpenPort", IDCARDREADER_SDT_SUCCESS},
              {"SDT_ClosePort", IDCARDREADER_SDT_SUCCESS},
              {"SDT_ResetSAM", IDCARDREADER_SDT_SUCCESS},
              {"SDT_GetSAMStatus", IDCARDREADER_SDT_SUCCESS},
              {"SDT_SetMaxRFByte", IDCARDREADER_SDT_SUCCESS},
              {"SDT_SetCOMBaud", IDCARDREADER_SDT_SUCCESS},
              {"SDT_ReadNewAppMsg", IDCARDREADER_SDT_NO_FINGERPRINT},
              {"SDT_GetSAMID", IDCARDREADER_SDT_SUCCESS, "0123456789123456"},
              {"SDT_GetSAMIDToStr", IDCARDREADER_SDT_SUCCESS, "0123456789123456"},
              {"SDT_ReadIINSNDN", IDCARDREADER_SDT_SUCCESS, "0123456789123456789012345678"},
              {"SDT_ReadIINSNDNToASCII", IDCARDREADER_SDT_SUCCESS, management},
              {"SDT_ReadMngInfo", IDCARDREADER_SDT_SUCCESS, management},
              {"SDT_GetErrorString", IDCARDREADER_SDT_SUCCESS, "@"},
              {"SDT_GetCOMBaud", IDCARDREADER_SDT_SUCCESS, {'\x00', '\xC2', '\x01', '\x00'}}};
  for (const auto& row : rows) {
    const auto function =
        reinterpret_cast<std::int32_t (*)(void*, void*, int)>(library->Symbol(row.function));
    OutputBuffer output;
    EXPECT_EQ(function(output.Data(), output.Data(), 9600), row.result) << row.function;
    output.ExpectText(row.value, row.function);
    EXPECT_EQ(function(nullptr, nullptr, 0), row.result) << row.function;
  }
  ExpectNoEngine();
}

TEST_F(ExportsTest, TextsShareOnePlaceThatAFailedReadEmpties) {
  const char* const version = library->readCardGetSdkVersion();
  const char* const text = library->readCardErrorInfo(56);
  EXPECT_EQ(version, text);
  EXPECT_STREQ(version, "ERRORT_End");
  ExpectGoodRead(kAnyCard);
  EXPECT_EQ(library->GetPeopleName(), text);
  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(0), 0);
  EXPECT_STREQ(text, "");
}

TEST_F(ExportsTest, TellsAboutReaderAndHost) {
  EXPECT_EQ(library->readCardGetDeviceStatus(), 0);
  ExpectGoodRead(kAnyCard);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
  const devkit::ReaderIdentity identity = devkit::StandardReaderIdentity();
  EXPECT_EQ(library->readCardGetVersionCode(), devkit::ToHex(identity.version));
  EXPECT_EQ(library->readCardGetAuthorizeCode(), devkit::ToHex(identity.authorizeCode));
  EXPECT_STREQ(library->readCardGetComSet(), "");  // there is no conf.yaml
  EXPECT_TRUE(std::regex_match(library->readCardGetHostDeviceCode(),
                               std::regex("pcDevice|[0-9A-F]{2}(-[0-9A-F]{2})*")));
}

// The program of this test has none beside it.
TEST_F(ExportsTest, TheConfigurationMayLieBesideTheLibrary) {
  folder.WriteFile("conf.yaml", "comnum: -5\n");
  EXPECT_EQ(library->readCardGetComSet(), Gbk("串口号：COM-5，波特率：57600"));
  folder.RemoveFile("conf.yaml");
}

TEST_F(ExportsTest, ReadsTheUidOfBothKindsOfCard) {
  const auto uid = [this](int mode) {
    std::string text(IDCARDREADER_UID_BYTES, '\0');
    const int result = library->readCardGetUID(mode, text.data());
    text.resize(text.find('\0'));
    EXPECT_EQ(result, text.empty() ? 0 : 1);
    return text;
  };
  const std::string identityCard = devkit::ToHex(CardOf(kAnyCard).uid);
  desk.Put(kAnyCard);
  EXPECT_EQ(uid(0), identityCard);
  EXPECT_EQ(library->readCardGetCardType(), 16);
  EXPECT_EQ(uid(1), identityCard);
  EXPECT_EQ(uid(2), "");
  EXPECT_EQ(uid(3), "");
  for (const int wide : {0x100, 0x101, 0x10000}) EXPECT_EQ(uid(wide), "") << wide;

  const std::string otherCard = devkit::ToHex(CardOf(kTypeACard).uid);
  desk.Put(kTypeACard);
  EXPECT_EQ(uid(0), otherCard);
  EXPECT_EQ(library->readCardGetCardType(), 4);
  EXPECT_EQ(uid(1), "");
  EXPECT_EQ(uid(2), otherCard);

  desk.TakeCardAway();
  EXPECT_EQ(uid(0), "");
}

// The cards one behind the other, so that what one lacks cannot come from the one before.
TEST_F(ExportsTest, EveryFamilyOfFunctionsYieldsEveryFieldAndBlockOfEveryCard) {
  const std::function<bool()> families[] = {
      [this] { return library->readCardStart(0) == 1; },
      [this] { return library->SDT_SelectIDCard(1, nullptr) == IDCARDREADER_SDT_SUCCESS; },
      [this] { return library->Read_Content(0) == 1; }};
  for (const auto& read : families) {
    for (const devkit::Card& card : Cards()) {
      SCOPED_TRACE(card.label);
      desk.Put(card.label);
      EXPECT_EQ(read(), ExpectedToSucceed(card)) << LastError();
      if (ExpectedToSucceed(card)) {
        ExpectRecordOf(card, *library);
      } else {
        ExpectNoBlocks(*library);
      }
    }
  }
  for (const devkit::ReceivedMessage& message : service->Received()) {
    EXPECT_TRUE(message.accepted) << message.exchange << ": " << message.objection;
  }
}

// What the service sends may be anybody's who sits on the way.
TEST_F(ExportsTest, NoBufferGetsMoreThanItsLeastSizeLessOne) {
  // The places where texts of two and of three bytes a character are cut.
  const auto cutOf = [](const FieldRow& field) -> std::size_t {
    const bool isLong = field.keys[0] == "address" || field.keys[0] == "nameEnglish";
    return (isLong ? 510 : 126) - (field.inGbk ? 0 : 1);
  };
  std::string text = "xx";
  while (text.size() < 1200) text += "周";
  for (const char* name : {kAnyCard, "gat", "yjzold", "yjznew"}) {
    devkit::Card card = CardOf(name);
    for (auto& [field, value] : card.fields) {
      value = field == "nationlity" ? text + "/" + text : text;
    }
    service->SetCards({card});
    desk.Put(name);
    ASSERT_EQ(Read().result, 1) << LastError();
    for (const FieldRow& field : FieldRows()) {
      const std::string whole = field.Expected(card);
      if (field.pointer != nullptr) {
        EXPECT_TRUE((*library.*field.pointer)() == whole) << field.name;
      }
      if (whole.empty()) continue;
      OutputBuffer output;
      EXPECT_EQ((*library.*field.copy)(output.Text()), 1) << field.name;
      output.ExpectText(whole.substr(0, cutOf(field)), field.name);
    }
  }
}

// A host may declare a flag as a byte, and then only the lowest 8 bits of the register are set by
// it; the others hold anything.
TEST_F(ExportsTest, OnlyTheLowestByteOfAFlagCounts) {
  using WideFlag = std::int32_t (*)(std::uint64_t);
  const auto start = reinterpret_cast<WideFlag>(library->Symbol("readCardStart"));
  const auto log = reinterpret_cast<WideFlag>(library->Symbol("readCardLog"));
  constexpr std::uint64_t kRubbish = 0xDEADBEEFCAFEF000;
  desk.Put(kAnyCard);
  EXPECT_EQ(log(kRubbish), 1);
  EXPECT_EQ(start(kRubbish), 1) << LastError();
  EXPECT_TRUE(folder.Files("logdata").empty()) << "logging was switched on";
}

}  // namespace
}  // namespace hosttest
