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

TEST_F(ExportsTest, WithoutAnEngineNothingIsHandedOutAndOnlyWhatNeedsOneCreatesIt) {
  const auto& l = *library;
  ExpectNoEngine();
  EXPECT_EQ(l.readCardDestory(), 0);
  l.readCardStop();
  EXPECT_STREQ(l.readCardGetLastError(), "");
  EXPECT_STREQ(l.readCardGetDN(), "");
  ExpectNoRecord(l);
  EXPECT_EQ(l.CloseComm(), 1);
  EXPECT_TRUE(folder.Files("errordata").empty());
  char uid[IDCARDREADER_UID_BYTES];
  const std::function<bool()> calls[] = {[&] { return *l.readCardGetVersionCode() == 0; },
                                         [&] { return *l.readCardGetAuthorizeCode() == 0; },
                                         [&] { return *l.readCardGetComSet() == 0; },
                                         [&] { return *l.readCardGetSdkVersion() == 'V'; },
                                         [&] { return *l.readCardGetHostDeviceCode() != 0; },
                                         [&] { return l.readCardGetDeviceStatus() == 0; },
                                         [&] { return l.readCardGetCardType() == 0; },
                                         [&] { return l.readCardLog(0) == 1; },
                                         [&] { return l.readCardSetDeviceType(0) == 1; },
                                         [&] { return l.readCardBeep(0) != 0; },
                                         [&] { return l.readCardGetUID(9, uid) == 0; }};
  for (const auto& call : calls) {
    SCOPED_TRACE(&call - calls);
    ExpectNoEngine();
    EXPECT_TRUE(call());
    EXPECT_STRNE(l.readCardErrorInfo(1), "");
    l.CloseComm();
  }
}

// There is no security module to be asked. Hosts pass more arguments than there are, and the buffer
// is the first or the second: what needs none must not touch it.
TEST_F(ExportsTest, FixedResultsAndValuesAreToTheByteAndNeedNoEngine) {
  const struct {
    std::int32_t result;
    std::string value;
    std::vector<const char*> functions;
  } rows[] = {{1,
               "",
               {"InitComm", "Routon_IC_FindCard", "Routon_Set210Update", "Routon_SetNewVersion",
                "Routon_StartFindIDCard"}},
              {1, "0123456789123456", {"ReadIINSNDN"}},
              {1, "1", {"Routon_Get210Version"}},
              {IDCARDREADER_SDT_SUCCESS,
               "",
               {"SDT_OpenPort", "SDT_ClosePort", "SDT_ResetSAM", "SDT_GetSAMStatus",
                "SDT_SetMaxRFByte", "SDT_SetCOMBaud"}},
              {IDCARDREADER_SDT_NO_FINGERPRINT, "", {"SDT_ReadNewAppMsg"}},
              {IDCARDREADER_SDT_SUCCESS, "0123456789123456", {"SDT_GetSAMID", "SDT_GetSAMIDToStr"}},
              {IDCARDREADER_SDT_SUCCESS, "0123456789123456789012345678", {"SDT_ReadIINSNDN"}},
              {IDCARDREADER_SDT_SUCCESS,
               "01234567891234567890123456780123456789123456789012345678",
               {"SDT_ReadIINSNDNToASCII", "SDT_ReadMngInfo"}},
              {IDCARDREADER_SDT_SUCCESS, "@", {"SDT_GetErrorString"}},
              {IDCARDREADER_SDT_SUCCESS, {'\x00', '\xC2', '\x01', '\x00'}, {"SDT_GetCOMBaud"}}};
  for (const auto& row : rows) {
    for (const char* name : row.functions) {
      const auto function =
          reinterpret_cast<std::int32_t (*)(void*, void*, int)>(library->Symbol(name));
      OutputBuffer output;
      EXPECT_EQ(function(output.Data(), output.Data(), 9600), row.result) << name;
      output.ExpectText(row.value, name);
      EXPECT_EQ(function(nullptr, nullptr, 0), row.result) << name;
    }
  }
  ExpectNoEngine();
}

TEST_F(ExportsTest, TellsAboutReaderAndHostInOnePlaceThatAFailedReadEmpties) {
  // The program of this test has no configuration beside it, but the library may.
  EXPECT_STREQ(library->readCardGetComSet(), "");
  library->CloseComm();
  folder.WriteFile("conf.yaml", "comnum: -5\n");
  EXPECT_EQ(library->readCardGetComSet(), Gbk("串口号：COM-5，波特率：57600"));
  folder.RemoveFile("conf.yaml");
  EXPECT_TRUE(std::regex_match(library->readCardGetHostDeviceCode(),
                               std::regex("pcDevice|[0-9A-F]{2}(-[0-9A-F]{2})*")));
  EXPECT_STREQ(library->readCardGetSdkVersion(), "V2.84");
  ExpectGoodRead(kAnyCard);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
  const devkit::ReaderIdentity identity = devkit::StandardReaderIdentity();
  EXPECT_EQ(library->readCardGetAuthorizeCode(), devkit::ToHex(identity.authorizeCode));
  const char* const version = library->readCardGetVersionCode();
  EXPECT_EQ(version, devkit::ToHex(identity.version));
  EXPECT_EQ(library->readCardErrorInfo(56), version);
  EXPECT_STREQ(version, "ERRORT_End");
  EXPECT_EQ(library->GetPeopleName(), version);
  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(0), 0);
  EXPECT_STREQ(version, "");
}

TEST_F(ExportsTest, ReadsTheUidOfBothKindsOfCard) {
  const struct {
    const char* card;
    int kind;
    std::vector<int> modes, modesWithout;
  } rows[] = {{kAnyCard, 16, {0, 1}, {2, 3, 0x100, 0x101, 0x10000}}, {kTypeACard, 4, {0, 2}, {1}}};
  const auto expectUid = [this](int mode, const std::string& uid) {
    char text[IDCARDREADER_UID_BYTES] = {};
    EXPECT_EQ(library->readCardGetUID(mode, text), uid.empty() ? 0 : 1) << mode;
    EXPECT_EQ(text, uid) << mode;
  };
  for (const auto& row : rows) {
    desk.Put(row.card);
    for (const int mode : row.modes) expectUid(mode, devkit::ToHex(CardOf(row.card).uid));
    EXPECT_EQ(library->readCardGetCardType(), row.kind);
    for (const int mode : row.modesWithout) expectUid(mode, "");
  }
  desk.TakeCardAway();
  expectUid(0, "");
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
      ExpectedToSucceed(card) ? ExpectRecordOf(card, *library) : ExpectNoBlocks(*library);
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
      if (whole.empty()) continue;
      EXPECT_TRUE(field.pointer == nullptr || (*library.*field.pointer)() == whole) << field.name;
      OutputBuffer output;
      EXPECT_EQ((*library.*field.copy)(output.Text()), 1) << field.name;
      output.ExpectText(whole.substr(0, cutOf(field)), field.name);
    }
  }
}

// A host may declare a flag as a byte, and then only the lowest 8 bits of the register are set by
// it; the others hold anything.
TEST_F(ExportsTest, OnlyTheLowestByteOfAFlagCounts) {
  desk.Put(kAnyCard);
  for (const char* name : {"readCardLog", "readCardStart"}) {
    const auto function = reinterpret_cast<std::int32_t (*)(std::uint64_t)>(library->Symbol(name));
    EXPECT_EQ(function(0xDEADBEEFCAFEF000), 1) << name << LastError();
  }
  EXPECT_TRUE(folder.Files("logdata").empty()) << "logging was switched on";
}

}  // namespace
}  // namespace hosttest
