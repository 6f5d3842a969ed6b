// What every function does before there is anything to hand out, and how values cross the border of
// the library.

#include <map>
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
  const std::function<void()> creators[] = {
      [this] { EXPECT_EQ(library->readCardLog(0), 1); },
      [this] { EXPECT_EQ(library->readCardSetDeviceType(0), 1); },
      [this] { EXPECT_NE(library->readCardBeep(0), 0u); },
      [this] { EXPECT_STREQ(library->readCardGetSdkVersion(), "V2.84"); },
      [this] { EXPECT_STREQ(library->readCardGetVersionCode(), ""); },
      [this] { EXPECT_STREQ(library->readCardGetAuthorizeCode(), ""); },
      [this] { EXPECT_NE(std::string(library->readCardGetHostDeviceCode()), ""); },
      [this] { EXPECT_STREQ(library->readCardGetComSet(), ""); },
      [this] { EXPECT_EQ(library->readCardGetDeviceStatus(), 0); },
      [this] { EXPECT_EQ(library->readCardGetCardType(), 0); },
      [this] {
        char uid[IDCARDREADER_UID_BYTES];
        EXPECT_EQ(library->readCardGetUID(9, uid), 0);
      }};
  for (const auto& create : creators) {
    ExpectNoEngine();
    create();
    EXPECT_STRNE(library->readCardErrorInfo(1), "");
    library->CloseComm();
  }
}

TEST_F(ExportsTest, CodesHaveTheirTexts) {
  library->readCardLog(0);
  const struct {
    std::int32_t code;
    const char* text;
  } rows[] = {{1, "正常"},          {27, "读卡(未找到设备)"}, {38, "读卡(CRC_A不匹配)"},
              {55, "解压数据失败"}, {56, "ERRORT_End"},       {0, "错误代码无效"},
              {57, "错误代码无效"}, {-1, "错误代码无效"},     {INT32_MIN, "错误代码无效"}};
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
  constexpr std::size_t kGbk = 126, kLongGbk = 510, kUtf8 = 125, kLongUtf8 = 509;  // at the cut
  const std::map<std::string, std::size_t> others = {
      {"birthday", kUtf8},    {"number", kUtf8},     {"valid from", kUtf8},
      {"pass number", kUtf8}, {"address", kLongGbk}, {"English name", kLongUtf8}};
  const auto text = [](std::size_t bytes) {
    std::string made = "xx";
    while (made.size() < bytes) made += "周";
    return made;
  };
  const struct {
    const char* card;
    std::size_t bytes;
    std::string onlyField;  // all when empty
  } rows[] = {{kAnyCard, 1200, ""},
              {"gat", 1200, ""},
              {"yjzold", 1200, ""},
              {"yjznew", 1200, ""},
              {"yjznew", 5000, "nameEnglish"},
              {"gat", 5000, "name"}};
  for (const auto& row : rows) {
    devkit::Card card = CardOf(row.card);
    for (auto& [field, value] : card.fields) {
      if (row.onlyField.empty() || row.onlyField == field) value = text(row.bytes);
      if (field == "nationlity") value += "/" + value;
    }
    service->SetCards({card});
    desk.Put(row.card);
    ASSERT_EQ(Read().result, 1) << LastError();
    for (const FieldRow& field : FieldRows()) {
      const std::string whole = field.Expected(card);
      if (field.pointer != nullptr) {
        EXPECT_EQ((*library.*field.pointer)(), whole) << field.name;
      }
      const auto other = others.find(field.name);
      const std::size_t cut = other == others.end() ? kGbk : other->second;
      if (whole.size() <= cut) continue;
      OutputBuffer output;
      EXPECT_EQ((*library.*field.copy)(output.Text()), 1) << field.name;
      output.ExpectText(whole.substr(0, cut), field.name);
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

// All 32 bits of a result count, whatever width the library computes with.
TEST_F(ExportsTest, ResultsAreZeroOrOneInAll32Bits) {
  const auto resultOf = [this](const char* function, int argument = 0) {
    return reinterpret_cast<std::uint32_t (*)(int)>(library->Symbol(function))(argument);
  };
  EXPECT_EQ(resultOf("readCardInit"), 0u);
  EXPECT_EQ(resultOf("readCardDestory"), 0u);
  EXPECT_EQ(resultOf("readCardSetDeviceType"), 1u);
  desk.Put(kAnyCard);
  EXPECT_EQ(resultOf("readCardInit"), 1u);
  EXPECT_EQ(resultOf("readCardStart"), 1u);
  EXPECT_EQ(resultOf("GetNewCardType"), 1u);
  desk.TakeCardAway();
  EXPECT_EQ(resultOf("readCardStart"), 0u);
  EXPECT_EQ(resultOf("readCardDestory"), 1u);
  EXPECT_EQ(resultOf("CloseComm"), 1u);
}

}  // namespace
}  // namespace hosttest
