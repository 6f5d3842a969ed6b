// What every function does before there is anything to hand out, and how values cross the border of
// the library.

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
  const auto expectCreated = [this] {
    EXPECT_STRNE(library->readCardErrorInfo(1), "");
    library->CloseComm();
    ExpectNoEngine();
  };
  for (const auto text : {library->readCardGetVersionCode, library->readCardGetAuthorizeCode,
                          library->readCardGetComSet}) {
    EXPECT_STREQ(text(), "");
    expectCreated();
  }
  for (const auto number : {library->readCardGetDeviceStatus, library->readCardGetCardType}) {
    EXPECT_EQ(number(), 0);
    expectCreated();
  }
  for (const auto setter : {library->readCardLog, library->readCardSetDeviceType}) {
    EXPECT_EQ(setter(0), 1);
    expectCreated();
  }
  EXPECT_STREQ(library->readCardGetSdkVersion(), "V2.84");
  expectCreated();
  EXPECT_STRNE(library->readCardGetHostDeviceCode(), "");
  expectCreated();
  EXPECT_NE(library->readCardBeep(0), 0u);
  expectCreated();
  char uid[IDCARDREADER_UID_BYTES];
  EXPECT_EQ(library->readCardGetUID(9, uid), 0);
  expectCreated();
}

TEST_F(ExportsTest, CodesHaveTheirTexts) {
  library->readCardLog(0);
  const struct {
    std::int32_t code;
    const char* text;
  } rows[] = {{1, "正常"}, {27, "读卡(未找到设备)"}, {56, "ERRORT_End"}, {-1, "错误代码无效"}};
  for (const auto& row : rows) {
    EXPECT_EQ(library->readCardErrorInfo(row.code), Gbk(row.text)) << row.code;
  }
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
