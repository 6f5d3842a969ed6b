#include "support/field_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "support/hex_text.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

using Found = std::optional<std::string>;
constexpr std::nullopt_t kNone = std::nullopt;

Found BehindKey(std::string_view text, std::string_view key) {
  const std::size_t found = FindKey(text, key);
  return found == kKeyNotFound ? Found() : Found(text.substr(found));
}

TEST(FieldReader, TheFirstQuotedKeyCountsWhereverItStands) {
  EXPECT_EQ(BehindKey(R"({"cardid":"1","id":"2"})", "id"), R"("2"})");
  EXPECT_EQ(BehindKey(R"({"kind":"id","name":"x"})", "id"), R"("x"})");  // a value like the key
  EXPECT_EQ(BehindKey(R"({"a":{"id":"in"},"id":"out"})", "id"), R"("in"},"id":"out"})");
  EXPECT_EQ(BehindKey(R"({"id" , "b" : 3})", "id"), " 3}");  // the next colon, whosever it is
  EXPECT_EQ(BehindKey(R"({"id":)", "id"), "");
  EXPECT_EQ(BehindKey(R"({"id"})", "id"), kNone);
  EXPECT_EQ(BehindKey(R"({"id2":"1"})", "id"), kNone);
  EXPECT_EQ(BehindKey(R"({id:"1"})", "id"), kNone);
}

TEST(FieldReader, AValueEndsAtTheNextQuoteOrElseAtTheBrace) {
  const auto value = [](const char* text) -> Found { return Found(ReadValue(text, "code")); };
  EXPECT_EQ(value(R"({"code":""})"), "");
  EXPECT_EQ(value(R"({"code":00})"), "00");
  EXPECT_EQ(value(R"({"code":00,"token":"ab"})"), R"(00,"token":"ab")");
  EXPECT_EQ(value(R"({"code": "00"})"), R"( "00")");
  EXPECT_EQ(value(R"({"code":"a\"b"})"), "a\\");
  EXPECT_EQ(value(R"({"code":"00)"), kNone);
  EXPECT_EQ(value(R"({"code":00)"), kNone);
  EXPECT_EQ(value(R"({"code":)"), kNone);
}

// The value, when there is one and the result says its length minus one.
template <typename Reader>
Found ReadWith(Reader reader, const char* text, const char* key) {
  std::string value = "as before";
  const std::int32_t result = reader(text, key, value);
  if (result == static_cast<std::int32_t>(value.size()) - 1) return value;
  EXPECT_EQ(result, -1);
  EXPECT_EQ(value, "as before");
  return kNone;
}

TEST(FieldReader, ATrailingStringEndsAtQuoteAndBraceTogether) {
  const auto value = [](const char* text) { return ReadWith(ReadTrailingString, text, "name"); };
  EXPECT_EQ(value(R"({"name":"ab"})"), "ab");
  EXPECT_EQ(value(R"({"name":"ab","sex":"1"})"), R"(ab","sex":"1)");
  EXPECT_EQ(value(R"({"name": "00"})"), R"("00)");
  EXPECT_EQ(value(R"({"name":[xy"}})"), "xy");  // the first character is not looked at
  EXPECT_EQ(value(R"({"name":"}"})"), "}");
  EXPECT_EQ(value(R"({"name":"ab" })"), kNone);
}

TEST(FieldReader, AnObjectEndsAtItsFirstBrace) {
  const auto object = [](const char* text) { return ReadWith(ReadObject, text, "card"); };
  EXPECT_EQ(object(R"({"card":{"a":"1","b":"2"},"c":"3"})"), R"({"a":"1","b":"2"})");
  EXPECT_EQ(object(R"({"card":{"a":{"b":"2"},"c":"3"}})"), R"({"a":{"b":"2"})");
  EXPECT_EQ(object(R"({"x":1,"card":"last"})"), R"("last"})");
  EXPECT_EQ(object(R"({"card":{"a":"1")"), kNone);
}

// The bytes stored in an area of six, and the count; what is counted but not stored leaves no byte.
std::string Array(const char* text) {
  std::vector<std::uint8_t> area(8, 0xEE);
  const std::uint32_t count = ReadByteArray(text, "data", area.data(), 6);
  EXPECT_EQ(area[6], 0xEE);
  if (count == kArrayNotFound) return "none";
  area.resize(std::min<std::size_t>(count, 6));
  return HexText(area) + " " + std::to_string(count);
}

TEST(FieldReader, AnArrayIsDecimalNumbersCutToBytes) {
  EXPECT_EQ(Array(R"({"data":[-1,1,127]})"), "FF017F 3");
  EXPECT_EQ(Array(R"({"data":[]})"), " 0");
  EXPECT_EQ(Array(R"({"data":[256,-129,300,1234567]})"), "007F2C87 4");
  EXPECT_EQ(Array(R"({"data":[ 12,+3,4x5,x,, 7]})"), "0C0304000007 6");
  EXPECT_EQ(Array(R"({"data":[1,2,],"more":[3]})"), "0102 2");
  EXPECT_EQ(Array(R"({"data":17]})"), "07 1");  // the first character is not looked at
  EXPECT_EQ(Array(R"({"data":[1,2,3,4,5,6,7,8]})"), "010203040506 8");
  EXPECT_EQ(Array(R"({"data":[1,2})"), "none");
  EXPECT_EQ(Array(R"({"data":)"), "none");
}

// Long enough for every kind of element to meet every border of the blocks that commas are found in.
TEST(FieldReader, ALongArrayIsReadAsAtoiReadsItsElements) {
  constexpr std::array<const char*, 12> kElements = {"0", "-128",    "127", "9",   "-1", "",
                                                     "-", "1234567", "+12", " 12", "1x", "\xAC-2"};
  std::minstd_rand random(4);
  std::string text = R"({"data":[)";
  std::vector<std::uint8_t> expected;
  for (int i = 0; i < 3000; ++i) {
    const char* element = kElements[random() % (random() % 4 == 0 ? kElements.size() : 5)];
    text += std::string(i == 0 ? "" : ",") + element;
    expected.push_back(static_cast<std::uint8_t>(std::atoi(element)));
  }
  text += ",7]}";
  expected.push_back(7);
  std::vector<std::uint8_t> bytes(expected.size());
  EXPECT_EQ(ReadByteArray(text, "data", bytes.data(), bytes.size()), expected.size());
  EXPECT_EQ(bytes, expected);
}

TEST(FieldReader, ALongKeyOrElementEndsTheProcess) {
  using Stopped = ThrowingHardStop::Stopped;
  const ThrowingHardStop throwing;
  const std::string longest(29, 'k');
  EXPECT_EQ(FindKey("{}", longest), kKeyNotFound);
  EXPECT_THROW(FindKey("{}", longest + 'k'), Stopped);
  EXPECT_THROW(ReadValue("{}", longest + 'k'), Stopped);
  std::uint8_t byte = 0;
  EXPECT_EQ(ReadByteArray(R"({"data":[-123456]})", "data", &byte, 1), 1U);
  EXPECT_THROW(ReadByteArray(R"({"data":[-1234567]})", "data", &byte, 1), Stopped);
  EXPECT_THROW(ReadByteArray(R"({"data":[1,       7]})", "data", &byte, 1), Stopped);
}

TEST(HardStopDeathTest, AHandlerThatReturnsDoesNotSaveTheProcess) {
  EXPECT_DEATH(HardStop("a test"), "");
  SetHardStopHandler([](const char*) {});
  EXPECT_DEATH(HardStop("a test"), "");
  SetHardStopHandler(nullptr);
}

}  // namespace
}  // namespace idcardreader
