#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/message_cipher.h"
#include "support/message_fields.h"
#include "support/text.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

// Of cipher that is deciphered into an area behind a byte of 2A.
std::int32_t DecipheredLength(const char* hex) {
  const auto cipher = Bytes(hex);
  std::vector<std::uint8_t> area(1 + cipher.size(), 0x2A);
  const auto length = static_cast<std::int32_t>(cipher.size());
  return Decipher(kMessageKey, cipher.data(), length, area.data() + 1);
}

// Under the service's key; the enciphered bytes come from another implementation.
TEST(MessageCipher, PadsEveryBufferByOneToEightBytes) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "4080DB66359F64A0"},  // 00 00 00 00 00 00 00 08
      {"41424344454647", "768BF4A07C4604D3"},
      {"4142434445464748", "1C5791CE5DF63FC1 4080DB66359F64A0"}};
  for (const auto& [plainHex, cipherHex] : rows) {
    const auto plain = Bytes(plainHex);
    const auto length = static_cast<std::int32_t>(plain.size());
    std::vector<std::uint8_t> cipher(static_cast<std::size_t>(EncipheredLength(length)));
    Encipher(kMessageKey, plain.data(), length, cipher.data());
    EXPECT_EQ(cipher, Bytes(cipherHex)) << plainHex;
    EXPECT_EQ(DecipheredLength(cipherHex), length);
  }
}

TEST(MessageCipher, TakesAPadAsItStands) {
  const std::pair<const char*, std::int32_t> rows[] = {
      {"CEB1C62931642333", 8},      // a last byte of 0
      {"D42968D5392EB1B3", 8 - 9},  // more than the block
      {"2833DCB8A9F921F6", 8 - 255},
      {"768BF4A07C4604D3 11223344", 7},  // half a block more
      {"", -0x2A},                       // nothing to decipher: the byte before the area
      {"11223344556677", -0x2A}};
  for (const auto& [cipher, length] : rows) EXPECT_EQ(DecipheredLength(cipher), length) << cipher;
}

using Found = std::optional<std::string_view>;
constexpr std::nullopt_t kNone = std::nullopt;

TEST(MessageFields, AValueBelongsToTheFirstQuotedKeyAndEndsAtTheNextQuoteOrElseAtTheBrace) {
  const std::pair<const char*, Found> rows[] = {
      {R"({"cardid":"1","id":"2"})", "2"},
      {R"({"kind":"id","name":"x"})", "x"},  // a value like the key
      {R"({"a":{"id":"in"},"id":"out"})", "in"},
      {R"({"id" , "b" : 3})", " 3"},  // the next colon, whosever it is
      {R"({"id"})", kNone},
      {R"({"id2":"1"})", kNone},
      {R"({id:"1"})", kNone},
      {R"({"id":""})", ""},
      {R"({"id":00,"token":"ab"})", R"(00,"token":"ab")"},
      {R"({"id": "00"})", R"( "00")"},
      {R"({"id":"a\"b"})", "a\\"},
      {R"({"id":"00)", kNone},
      {R"({"id":00)", kNone},
      {R"({"id":)", kNone}};
  for (const auto& [text, value] : rows) EXPECT_EQ(ReadValue(text, "id"), value) << text;
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
  EXPECT_EQ(ReadObject(R"({"card":{"a":{"b":"2"},"c":"3"}})", "card"), R"({"a":{"b":"2"})");
  EXPECT_EQ(ReadObject(R"({"card":{"a":"1")", "card"), "");
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
  EXPECT_EQ(Array(R"({"data":[-123456]})"), "C0 1");
  EXPECT_THROW(Array(R"({"data":[1,       7]})"), Stopped);
}

TEST(HardStopDeathTest, AHandlerThatReturnsDoesNotSaveTheProcess) {
  EXPECT_DEATH(HardStop("a test"), "");
  SetHardStopHandler([](const char*) {});
  EXPECT_DEATH(HardStop("a test"), "");
  SetHardStopHandler(nullptr);
}

TEST(MessageWriter, EscapesNothingAndAddsAtLeastOneByte) {
  const std::uint8_t byte = 0xFF;
  MessageWriter message;
  message.AddString("k", "a\"b\\c\x01\xC4\xE3");
  message.AddData(&byte, 0);
  EXPECT_EQ(message.Text(), "{\"k\":\"a\"b\\c\x01\xC4\xE3\",\"data\":[-1]}");
}

}  // namespace
}  // namespace idcardreader
