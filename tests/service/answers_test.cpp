#include <gtest/gtest.h>

#include <string>

#include "service/base64.h"
#include "service/dialect.h"
#include "service/inflate.h"
#include "service/service_messages.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/text.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

TEST(LoginAnswer, NeedsItsCodeAndATokenOfTwoCharacters) {
  const std::pair<const char*, const char*> rows[] = {
      {wire::kLoginAnswer, "token tk-1"},
      {R"({"token":"ab","code":00})", "token ab"},
      {R"({"code":"00","token":"a"})", "code 00"},
      {R"({"code":"00","token":abc})", "code 00"},
      {R"({"code":"00","token":"ab)", "code 00"},
      {R"({"code":"00"})", "code 00"},
      {R"({"code":00,"token":"ab"})", R"(code 00,"token":"ab")"},
      {R"({"code":"000","token":"ab"})", "code 000"},
      {R"({"token":"ab"})", "code "},
      {"", "code "}};
  for (const auto& [answer, result] : rows) {
    const LoginAnswer parsed = ParseLoginAnswer(answer);
    EXPECT_EQ(parsed.accepted ? "token " + parsed.token : "code " + parsed.code, result) << answer;
  }
}

std::string WithData(const char* start, const std::string& data) {
  return std::string(start) + R"("data":)" + data + "}";
}

constexpr char kInputKey[] = "1122334455667788";
constexpr char kOutputKeyDigits[] = "A1A2A3A4A5A6A7A8";
constexpr char kDnAnswer[] = R"({"code":"00","type":"dn",)";

struct KeyCase {
  std::string answer;
  KeyKind expected;
  const char* key;
};

TEST(KeyAnswer, CarriesItsKeyInTheTokenDialect) {
  // Far more than a key block has.
  std::string oversized = wire::kInputKeyData;
  oversized.pop_back();
  for (int element = 0; element < 5000; ++element) oversized += ",-1";
  const KeyCase rows[] = {
      {wire::InputKeyAnswer(), KeyKind::input, kInputKey},
      {wire::OutputKeyAnswer(), KeyKind::output, kOutputKeyDigits},
      {wire::InputKeyAnswer(), KeyKind::output, ""},
      {wire::OutputKeyAnswer(), KeyKind::input, ""},
      {WithData(kDnAnswer, wire::kOutputKeyData), KeyKind::input, ""},  // the word says another key
      {WithData(kDnAnswer, wire::kShortKeyData), KeyKind::input, ""},
      {WithData(kDnAnswer, wire::kStrangeKeyData), KeyKind::input, ""},
      {WithData(R"({"code":"00","type":"dn2",)", wire::kInputKeyData), KeyKind::input, ""},
      {WithData(R"({"code":"01","type":"dn",)", wire::kInputKeyData), KeyKind::input, ""},
      {WithData(R"({"type":"dn",)", wire::kInputKeyData), KeyKind::input, ""},
      {WithData(kDnAnswer, "[]"), KeyKind::input, ""},
      {WithData(kDnAnswer, "[1,2,3]"), KeyKind::input, ""},
      {WithData(kDnAnswer, oversized + "]"), KeyKind::input, ""},
      {R"({"code":"00","type":"dn"})", KeyKind::input, ""},
      {"", KeyKind::input, ""}};
  for (const auto& [answer, expected, key] : rows) {
    EXPECT_EQ(HexText(TokenDialect().ReadKey(answer, expected, {}).key), key) << answer;
  }
  const ThrowingHardStop throwing;
  EXPECT_THROW(TokenDialect().ReadKey(WithData(kDnAnswer, "[00000001]"), KeyKind::input, {}),
               ThrowingHardStop::Stopped);
}

TEST(KeyAnswer, CarriesItsKeyInTheDeviceCodeDialect) {
  const KeyCase rows[] = {
      {wire::FirstAnswer(wire::kInputKeyData), KeyKind::input, kInputKey},
      {wire::FirstAnswer(wire::kOutputKeyData), KeyKind::output, kOutputKeyDigits},
      {wire::FirstAnswer(wire::kOutputKeyData), KeyKind::input, ""},
      {wire::FirstAnswer(wire::kShortKeyData), KeyKind::input, ""},
      {WithData(R"({"dataType":"THIRD",)", wire::kInputKeyData), KeyKind::input, ""},
      {"", KeyKind::input, ""}};
  for (const auto& [answer, expected, key] : rows) {
    EXPECT_EQ(HexText(DeviceCodeDialect().ReadKey(answer, expected, {}).key), key) << answer;
  }
  const auto begins = [](const char* answer) {
    return DeviceCodeDialect().ReadKey(answer, KeyKind::input, {}).contentHasBegun;
  };
  EXPECT_TRUE(begins(R"({"dataType":"FIFTH"})"));
  EXPECT_FALSE(begins("FIFTH"));
}

TEST(KeyAnswer, TellsThatTheTokenHasExpiredInEitherEncoding) {
  const auto expired = [](const std::string& answer) {
    return TokenDialect().ReadKey(answer, KeyKind::input, {}).tokenExpired;
  };
  EXPECT_TRUE(expired("{\"code\":\"01\",\"msg\":\"token\xD2\xD1\xB9\xFD\xC6\xDA\"}"));
  EXPECT_TRUE(expired(R"({"code":"01","msg":"token已过期"})"));
  EXPECT_FALSE(expired(R"({"code":"01","msg":"token"})"));
  EXPECT_FALSE(expired(R"({"code":"01"})"));
  EXPECT_FALSE(expired(R"({"code":"00","msg":"token已过期"})"));
}

TEST(Base64, KnowsTheStandardAlphabet) {
  const auto decoded = [](std::string_view text) {
    const auto bytes = DecodeBase64(text);
    return std::string(bytes.begin(), bytes.end());
  };
  // Published with the encoding.
  EXPECT_EQ(decoded("Zg==") + decoded("Zm8=") + decoded("Zm9v") + decoded("Zm9vYg=="),
            "ffofoofoob");
  EXPECT_EQ(decoded(" Zm9v\r\n\tYmFy\n"), "foobar");
  EXPECT_EQ(decoded("+/+/AA=="), Text("FBFFBF00"));
  EXPECT_EQ(decoded("Zm8"), "fo");
  // Nothing of a text that is none.
  EXPECT_EQ(decoded("") + decoded("Zm9v-mFy") + decoded("Zm9v=mFy") + decoded("Zm\\n9v"), "");
  EXPECT_EQ(decoded(std::string_view("Zm9v\0", 5)), "");
}

TEST(Inflate, TakesTwentyTimesItsLengthAndNoErrors) {
  constexpr char kJustFits[] = "eNpLTBxZAADRXlrx";
  EXPECT_EQ(Inflate(DecodeBase64(kJustFits)).output, std::string(240, 'a'));
  EXPECT_TRUE(Inflate(DecodeBase64(kJustFits)).Complete());
  EXPECT_TRUE(Inflate(DecodeBase64(std::string(kJustFits) + "AAAA")).Complete());  // more behind
  // One byte too many, cut off, a wrong sum, a stream of nothing, no stream, nothing.
  for (const char* bad :
       {"eNpLTBxhAAAsv1tS", "eNpLTBxZAADR", "eNpLTBxZAADRXlry", "eJwDAAAAAAE=", "Zm9vYmFy", ""}) {
    EXPECT_FALSE(Inflate(DecodeBase64(bad)).Complete()) << bad;
  }
}

}  // namespace
}  // namespace idcardreader
