#include "service/service_answers.h"

#include <gtest/gtest.h>

#include <string>

#include "service/base64.h"
#include "service/event_table.h"
#include "service/inflate.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

struct LoginCase {
  std::string answer;
  const char* token;  // null: refused
  const char* code;
};

TEST(LoginAnswer, NeedsItsCodeAndATokenOfTwoCharacters) {
  const LoginCase kCases[] = {
      {wire::kLoginAnswer, "tk-1", "00"},
      {R"({"code":"00","token":"ab"})", "ab", "00"},
      {R"({"token":"ab","code":00})", "ab", "00"},
      {R"({"code":"00","token":"a"})", nullptr, "00"},
      {R"({"code":"00","token":""})", nullptr, "00"},
      {R"({"code":"00","token":abc})", nullptr, "00"},
      {R"({"code":"00","token":"ab)", nullptr, "00"},
      {R"({"code":"00"})", nullptr, "00"},
      {R"({"code":00,"token":"ab"})", nullptr, R"(00,"token":"ab")"},
      {R"({"code":"0","token":"ab"})", nullptr, "0"},
      {R"({"code":"000","token":"ab"})", nullptr, "000"},
      {R"({"token":"ab"})", nullptr, ""},
      {"", nullptr, ""},
  };
  for (const LoginCase& row : kCases) {
    const LoginAnswer login = ParseLoginAnswer(row.answer);
    EXPECT_EQ(login.accepted, row.token != nullptr) << row.answer;
    EXPECT_EQ(login.code, row.code) << row.answer;
    if (row.token != nullptr) {
      EXPECT_EQ(login.token, row.token) << row.answer;
    }
  }
}

struct KeyCase {
  std::string answer;
  KeyKind expected;
  const char* key;
};

TEST(KeyAnswer, CarriesItsKeyInTheTokenDialect) {
  const std::string ok = R"({"code":"00","type":)";
  const KeyCase kCases[] = {
      {wire::InputKeyAnswer(), KeyKind::input, "1122334455667788"},
      {wire::OutputKeyAnswer(), KeyKind::output, "A1A2A3A4A5A6A7A8"},
      {wire::InputKeyAnswer(), KeyKind::output, ""},
      {wire::OutputKeyAnswer(), KeyKind::input, ""},
      // The word names the one key, the block holds the other.
      {ok + R"("dn","data":)" + wire::kOutputKeyData + "}", KeyKind::input, ""},
      {ok + R"("dn","data":)" + wire::kShortKeyData + "}", KeyKind::input, ""},
      {ok + R"("dn","data":)" + wire::kStrangeKeyData + "}", KeyKind::input, ""},
      {ok + R"("dn2","data":)" + wire::kInputKeyData + "}", KeyKind::input, ""},
      {ok + R"("dn","data":[]})", KeyKind::input, ""},
      {ok + R"("dn","data":[1,2,3]})", KeyKind::input, ""},
      {ok + R"("dn"})", KeyKind::input, ""},
      {std::string(R"({"type":"dn","data":)") + wire::kInputKeyData + "}", KeyKind::input, ""},
      {std::string(R"({"code":"01","type":"dn","data":)") + wire::kInputKeyData + "}",
       KeyKind::input, ""},
      {"", KeyKind::input, ""},
  };
  for (const KeyCase& row : kCases) {
    EXPECT_EQ(ParseTokenKeyAnswer(row.answer, row.expected).key, Bytes(row.key)) << row.answer;
  }
}

TEST(KeyAnswer, CarriesItsKeyInTheDeviceCodeDialect) {
  const KeyCase kCases[] = {
      {wire::FirstAnswer(wire::kInputKeyData), KeyKind::input, "1122334455667788"},
      {wire::FirstAnswer(wire::kOutputKeyData), KeyKind::output, "A1A2A3A4A5A6A7A8"},
      {wire::FirstAnswer(wire::kOutputKeyData), KeyKind::input, ""},
      {wire::FirstAnswer(wire::kShortKeyData), KeyKind::input, ""},
      {std::string(R"({"dataType":"THIRD","data":)") + wire::kInputKeyData + "}", KeyKind::input,
       ""},
      {R"({"dataType":"FIFTH"})", KeyKind::input, ""},
      {"", KeyKind::input, ""},
  };
  for (const KeyCase& row : kCases) {
    const KeyAnswer answer = ParseDeviceCodeKeyAnswer(row.answer, row.expected);
    EXPECT_EQ(answer.key, Bytes(row.key)) << row.answer;
    EXPECT_EQ(answer.contentHasBegun, row.answer.find("FIFTH") != std::string::npos);
  }
}

TEST(KeyAnswer, OfAnyLengthIsSafe) {
  for (const std::size_t count : {511U, 512U, 513U, 5000U}) {
    std::string data = wire::kInputKeyData;
    data.pop_back();
    for (std::size_t index = 24; index < count; ++index) data += ",-1";
    // The last block decides how much is a pad; these never leave 19 bytes by accident.
    const KeyAnswer answer =
        ParseTokenKeyAnswer(R"({"code":"00","type":"dn","data":)" + data + "]}", KeyKind::input);
    EXPECT_TRUE(answer.key.empty() || count <= 512) << count;
  }
  const ThrowingHardStop throwing;
  EXPECT_THROW(
      ParseTokenKeyAnswer(R"({"code":"00","type":"dn","data":[00000001]})", KeyKind::input),
      ThrowingHardStop::Stopped);
}

struct ExpiryCase {
  std::string message;
  bool expired;
};

TEST(KeyAnswer, TellsThatTheTokenHasExpiredInEitherEncoding) {
  const std::string gbk = "token\xD2\xD1\xB9\xFD\xC6\xDA";
  const ExpiryCase kCases[] = {
      {R"({"code":"01","msg":")" + gbk + "\"}", true},
      {R"({"code":"01","msg":"token已过期"})", true},
      {R"({"code":01,"msg":"x"})", false},
      {R"({"code":"01","msg":"token"})", false},
      {R"({"code":"01"})", false},
      {R"({"code":"00","msg":"token已过期"})", false},
      {R"({"msg":"token已过期"})", false},
  };
  for (const ExpiryCase& row : kCases) {
    EXPECT_EQ(ParseTokenKeyAnswer(row.message, KeyKind::input).tokenExpired, row.expired)
        << row.message;
  }
}

TEST(DeviceCodeContent, BeginsWithDataAndHoldsBothWordsInOrder) {
  EXPECT_TRUE(StartsContent(R"({"data":1)"));
  EXPECT_FALSE(StartsContent(R"( {"data":1)"));
  EXPECT_FALSE(StartsContent("{"));
  EXPECT_FALSE(StartsContent(""));
  EXPECT_TRUE(ContentComplete("..FIFTH..INFO.."));
  EXPECT_FALSE(ContentComplete("..INFO..FIFTH.."));
  EXPECT_FALSE(ContentComplete("..FIFTH.."));
  EXPECT_FALSE(ContentComplete(""));
}

struct Base64Case {
  const char* text;
  const char* bytes;
};

TEST(Base64, KnowsTheStandardAlphabet) {
  constexpr Base64Case kCases[] = {
      // Published with the encoding.
      {"", ""},
      {"Zg==", "66"},
      {"Zm8=", "666F"},
      {"Zm9v", "666F6F"},
      {"Zm9vYg==", "666F6F62"},
      {"Zm9vYmFy", "666F6F626172"},
      {"+/+/AA==", "FBFFBF00"},
      {" Zm9v\r\n\tYmFy\n", "666F6F626172"},
      {"Zm8", "666F"},
      // Nothing of a text that is none.
      {"Zm9v-mFy", ""},
      {"Zm9v=mFy", ""},
      {"Zm\\n9v", ""},
  };
  for (const Base64Case& row : kCases) {
    EXPECT_EQ(DecodeBase64(row.text), Bytes(row.bytes)) << row.text;
  }
  EXPECT_EQ(DecodeBase64(std::string("Zm9v\0", 5)), Bytes(""));
}

struct InflateCase {
  const char* name;
  const char* compressed;  // base64
  bool complete;
  std::size_t size;
};

class InflateData : public testing::TestWithParam<InflateCase> {};

TEST_P(InflateData, TakesTwentyTimesItsLengthAndNoErrors) {
  const InflateResult result = Inflate(DecodeBase64(GetParam().compressed));
  EXPECT_EQ(result.Complete(), GetParam().complete);
  if (GetParam().complete) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, std::string(GetParam().size, 'a'));
  }
}

INSTANTIATE_TEST_SUITE_P(Streams, InflateData,
                         testing::Values(InflateCase{"JustFits", "eNpLTBxZAADRXlrx", true, 240},
                                         InflateCase{"OneTooMany", "eNpLTBxhAAAsv1tS", false, 0},
                                         InflateCase{"CutOff", "eNpLTBxZAADR", false, 0},
                                         InflateCase{"BadSum", "eNpLTBxZAADRXlry", false, 0},
                                         InflateCase{"WithMoreBehind", "eNpLTBxZAADRXlrxAAAA", true,
                                                     240},
                                         InflateCase{"OfNothing", "eJwDAAAAAAE=", false, 0},
                                         InflateCase{"NoStream", "Zm9vYmFy", false, 0},
                                         InflateCase{"Empty", "", false, 0}),
                         [](const auto& stream) { return stream.param.name; });

TEST(EventTable, KeepsTheFirstValueAndGivesItOnce) {
  EventTable events;
  events.File(32, "first");
  events.File(32, "second");
  EXPECT_EQ(events.Take(32), "first");
  EXPECT_EQ(events.Take(32), "");
  events.FileKey(6, Bytes("1122334455667788"), "INPUTKEY");
  EXPECT_EQ(events.TakeKey(7), Bytes(""));
  EXPECT_EQ(events.TakeKey(6), Bytes("1122334455667788"));
  EXPECT_EQ(events.TakeKey(6), Bytes(""));
  EXPECT_EQ(events.Take(6), "");
}

TEST(EventTable, GivesTheTextsOfTheFailuresInOrder) {
  EventTable events;
  events.AddFailure(1);
  events.AddFailure(56);
  EXPECT_EQ(events.Take(99), "");
  EXPECT_EQ(events.Take(100), Text("D5FDB3A3"));
  EXPECT_EQ(events.Take(12345), "ERRORT_End");
  EXPECT_EQ(events.Take(100), "");
  events.AddFailure(1);
  events.File(51, "Fail");
  events.Clear();
  EXPECT_EQ(events.Take(100) + events.Take(51), "");
}

}  // namespace
}  // namespace idcardreader
