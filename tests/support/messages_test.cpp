#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/message_cipher.h"
#include "support/message_fields.h"
#include "support/text.h"
#include "support/throwing_hard_stop.h"

namespace idcardreader {
namespace {

// Under the service's key; the enciphered bytes come from another implementation. They are
// deciphered into an area behind a byte of 2A.
TEST(MessageCipher, PadsByOneToEightBytesAndTakesAPadAsItStands) {
  const struct {
    const char* cipher;
    std::int32_t length;
    const char* plain = nullptr;
  } rows[] = {{"4080DB66359F64A0", 0, ""},  // 00 00 00 00 00 00 00 08
              {"768BF4A07C4604D3", 7, "41424344454647"},
              {"1C5791CE5DF63FC1 4080DB66359F64A0", 8, "4142434445464748"},
              {"CEB1C62931642333", 8},      // a last byte of 0
              {"D42968D5392EB1B3", 8 - 9},  // more than the block
              {"2833DCB8A9F921F6", 8 - 255},
              {"768BF4A07C4604D3 11223344", 7},  // half a block more
              {"", -0x2A},                       // nothing to decipher: the byte before the area
              {"11223344556677", -0x2A}};
  for (const auto& row : rows) {
    auto cipher = Bytes(row.cipher);
    std::vector<std::uint8_t> area(1 + cipher.size(), 0x2A);
    const auto size = static_cast<std::int32_t>(cipher.size());
    EXPECT_EQ(Decipher(kMessageKey, cipher.data(), size, area.data() + 1), row.length);
    if (row.plain == nullptr) continue;
    EXPECT_EQ(EncipheredLength(row.length), size);
    EXPECT_EQ(Encipher(kMessageKey, Bytes(row.plain).data(), row.length, cipher.data()), size);
    EXPECT_EQ(cipher, Bytes(row.cipher)) << row.plain;
  }
}

using Rows = std::pair<const char*, const char*>[];

TEST(MessageFields, AreFoundByTheFirstTextThatLooksLikeTheirs) {
  // A value ends at the next quote, or else at the brace.
  for (const auto& [text, value] : Rows{{R"({"cardid":"1","id":"2"})", "2"},
                                        {R"({"kind":"id","name":"x"})", "x"},  // a value as a key
                                        {R"({"a":{"id":"in"},"id":"out"})", "in"},
                                        {R"({"id" , "b" : 3})", " 3"},  // the next colon's
                                        {R"({"id"})", "none"},
                                        {R"({"id2":"1"})", "none"},
                                        {R"({id:"1"})", "none"},
                                        {R"({"id":""})", ""},
                                        {R"({"id":00,"token":"ab"})", R"(00,"token":"ab")"},
                                        {R"({"id": "00"})", R"( "00")"},
                                        {R"({"id":"a\"b"})", "a\\"},
                                        {R"({"id":"00)", "none"},
                                        {R"({"id":00)", "none"},
                                        {R"({"id":)", "none"}}) {
    EXPECT_EQ(ReadValue(text, "id").value_or("none"), value) << text;
  }
  // One at the end of its object, at quote and brace together.
  for (const auto& [text, value] : Rows{{R"({"id":"ab","sex":"1"})", R"(ab","sex":"1)"},
                                        {R"({"id":[xy"}})", "xy"},  // whatever the first character
                                        {R"({"id":)", "none"},
                                        {R"({"id":"ab" })", "none"}}) {
    EXPECT_EQ(ReadTrailingString(text, "id").value_or("none"), value) << text;
  }
  EXPECT_EQ(ReadObject(R"({"id":{"a":{"b":"2"},"c":"3"}})", "id"), R"({"a":{"b":"2"})");
  EXPECT_EQ(ReadObject(R"({"id":{"a":"1")", "id"), "");
}

// The bytes stored in an area of six, and the count; what is counted but not stored leaves no byte.
std::string Array(const char* text) {
  std::vector<std::uint8_t> area(8, 0xEE);
  const std::uint32_t count = ReadByteArray(text, "data", area.data(), 6);
  EXPECT_EQ(area[6], 0xEE);
  return count == kArrayNotFound
             ? "none"
             : HexText(area.data(), std::min(count, 6U)) + " " + std::to_string(count);
}

TEST(MessageFields, AnArrayIsDecimalNumbersCutToBytes) {
  for (const auto& [text, array] :
       Rows{{R"({"data":[]})", " 0"},
            {R"({"data":[256,-129,300,1234567]})", "007F2C87 4"},
            {R"({"data":[ 12,+3,4x5,x,, 7]})", "0C0304000007 6"},
            {R"({"data":[1,2,],"more":[3]})", "0102 2"},
            {R"({"data":17]})", "07 1"},  // the first character is not looked at
            {R"({"data":[1,2,3,4,5,6,7,8]})", "010203040506 8"},
            {R"({"data":[-123456]})", "C0 1"},
            {R"({"data":[1,2})", "none"},
            {R"({"data":)", "none"}}) {
    EXPECT_EQ(Array(text), array) << text;
  }
}

TEST(MessageFields, ALongKeyOrElementEndsTheProcess) {
  const std::string longest(29, 'k');
  EXPECT_EQ(FindKey("{}", longest), kKeyNotFound);
  const ThrowingHardStop throwing;
  EXPECT_THROW(FindKey("{}", longest + 'k'), ThrowingHardStop::Stopped);
  EXPECT_THROW(Array(R"({"data":[1,       7]})"), ThrowingHardStop::Stopped);
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
