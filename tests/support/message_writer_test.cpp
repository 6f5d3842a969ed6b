#include "support/message_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/bytes.h"

namespace idcardreader {
namespace {

TEST(MessageWriter, AddsFieldsInOrderWithoutBlanks) {
  MessageWriter message;
  EXPECT_EQ(message.Text(), "{}");
  EXPECT_EQ(message.AddString("type", "1"), 12U);
  EXPECT_EQ(message.Text(), R"({"type":"1"})");
  EXPECT_EQ(message.AddString("token", "ab"), 25U);
  EXPECT_EQ(message.Text(), R"({"type":"1","token":"ab"})");
  const auto bytes = Bytes("FF 01 80 7F 00");
  EXPECT_EQ(message.AddData(bytes.data(), bytes.size()), 50U);
  EXPECT_EQ(message.Text(), R"({"type":"1","token":"ab","data":[-1,1,-128,127,0]})");
}

TEST(MessageWriter, StartsOver) {
  MessageWriter message;
  message.AddString("a", "b");
  message.Start();
  message.AddString("c", "");
  EXPECT_EQ(message.Text(), R"({"c":""})");
}

TEST(MessageWriter, EscapesNothing) {
  MessageWriter message;
  message.AddString("k", "a\"b\\c\x01\xC4\xE3");
  EXPECT_EQ(message.Text(), "{\"k\":\"a\"b\\c\x01\xC4\xE3\"}");
}

TEST(MessageWriter, AlwaysWritesTheLastElement) {
  const std::uint8_t bytes[] = {0x9C, 0x05};
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}}) {
    MessageWriter message;
    message.AddData(bytes, count);
    EXPECT_EQ(message.Text(), R"({"data":[-100]})");
  }
}

TEST(MessageWriter, TakesTheLargestBlock) {
  const std::vector<std::uint8_t> worst(1032, 0x80);
  MessageWriter message;
  message.AddString("type", "BB13");
  // Each element takes "-128" and a separator.
  EXPECT_EQ(message.AddData(worst.data(), worst.size()), 24 + 1032 * 5U);
  EXPECT_EQ(std::count(message.Text().begin(), message.Text().end(), ','), 1032);
}

}  // namespace
}  // namespace idcardreader
