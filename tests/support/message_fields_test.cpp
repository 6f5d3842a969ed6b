#include "support/message_fields.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/text.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

using Found = std::optional<std::string_view>;
constexpr std::nullopt_t kNone = std::nullopt;

Found BehindKey(std::string_view text) {
  const std::size_t found = FindKey(text, "id");
  return found == kKeyNotFound ? Found() : Found(text.substr(found));
}

TEST(MessageFields, TheFirstQuotedKeyCountsWhereverItStands) {
  const std::pair<const char*, Found> rows[] = {
      {R"({"cardid":"1","id":"2"})", R"("2"})"},
      {R"({"kind":"id","name":"x"})", R"("x"})"},  // a value like the key
      {R"({"a":{"id":"in"},"id":"out"})", R"("in"},"id":"out"})"},
      {R"({"id" , "b" : 3})", " 3}"},  // the next colon, whosever it is
      {R"({"id":)", ""},
      {R"({"id"})", kNone},
      {R"({"id2":"1"})", kNone},
      {R"({id:"1"})", kNone}};
  for (const auto& [text, behind] : rows) EXPECT_EQ(BehindKey(text), behind) << text;
}

TEST(MessageFields, AValueEndsAtTheNextQuoteOrElseAtTheBrace) {
  const std::pair<const char*, Found> rows[] = {
      {R"({"code":""})", ""},
      {R"({"code":00})", "00"},
      {R"({"code":00,"token":"ab"})", R"(00,"token":"ab")"},
      {R"({"code": "00"})", R"( "00")"},
      {R"({"code":"a\"b"})", "a\\"},
      {R"({"code":"00)", kNone},
      {R"({"code":00)", kNone},
      {R"({"code":)", kNone}};
  for (const auto& [text, value] : rows) EXPECT_EQ(ReadValue(text, "code"), value) << text;
}

TEST(MessageFields, ATrailingStringEndsAtQuoteAndBraceTogether) {
  const std::pair<const char*, Found> rows[] = {
      {R"({"name":"ab","sex":"1"})", R"(ab","sex":"1)"},
      {R"({"name":[xy"}})", "xy"},  // the first character is not looked at
      {R"({"name":)", kNone},
      {R"({"name":"ab" })", kNone}};
  for (const auto& [text, value] : rows) EXPECT_EQ(ReadTrailingString(text, "name"), value);
}

TEST(MessageFields, AnObjectEndsAtItsFirstBrace) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"card":{"a":{"b":"2"},"c":"3"}})", R"({"a":{"b":"2"})"},
      {R"({"x":1,"card":"last"})", R"("last"})"},
      {R"({"card":{"a":"1")", ""},
      {R"({"a":"1"})", ""}};
  for (const auto& [text, object] : rows) EXPECT_EQ(ReadObject(text, "card"), object) << text;
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

TEST(MessageFields, AnArrayIsDecimalNumbersCutToBytes) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"data":[-1,1,127]})", "FF017F 3"},
      {R"({"data":[]})", " 0"},
      {R"({"data":[256,-129,300,1234567]})", "007F2C87 4"},
      {R"({"data":[ 12,+3,4x5,x,, 7]})", "0C0304000007 6"},
      {R"({"data":[1,2,],"more":[3]})", "0102 2"},
      {R"({"data":17]})", "07 1"},  // the first character is not looked at
      {R"({"data":[1,2,3,4,5,6,7,8]})", "010203040506 8"},
      {R"({"data":[1,2})", "none"},
      {R"({"data":)", "none"}};
  for (const auto& [text, array] : rows) EXPECT_EQ(Array(text), array) << text;
}

TEST(MessageFields, ALongKeyOrElementEndsTheProcess) {
  using Stopped = ThrowingHardStop::Stopped;
  const ThrowingHardStop throwing;
  const std::string longest(29, 'k');
  EXPECT_EQ(FindKey("{}", longest), kKeyNotFound);
  EXPECT_THROW(FindKey("{}", longest + 'k'), Stopped);
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

TEST(MessageWriter, AddsFieldsInOrderWithoutBlanksOrEscapes) {
  MessageWriter message;
  message.AddString("type", "1");
  EXPECT_EQ(message.Text(), R"({"type":"1"})");
  message.AddString("k", "a\"b\\c\x01\xC4\xE3");
  const auto bytes = Bytes("FF 01 80 7F 00");
  message.AddData(bytes.data(), bytes.size());
  EXPECT_EQ(message.Text(),
            "{\"type\":\"1\",\"k\":\"a\"b\\c\x01\xC4\xE3\",\"data\":[-1,1,-128,127,0]}");
  MessageWriter empty;
  empty.AddData(bytes.data(), 0);
  EXPECT_EQ(empty.Text(), R"({"data":[-1]})");  // never none
}

}  // namespace
}  // namespace idcardreader
