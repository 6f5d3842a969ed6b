#include "support/message_writer.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace idcardreader {
namespace {

TEST(MessageWriter, AddsFieldsInOrderWithoutBlanksOrEscapes) {
  MessageWriter message;
  EXPECT_EQ(message.Text(), "{}");
  EXPECT_EQ(message.AddString("type", "1"), 12U);
  EXPECT_EQ(message.Text(), R"({"type":"1"})");
  message.AddString("k", "a\"b\\c\x01\xC4\xE3");
  const auto bytes = Bytes("FF 01 80 7F 00");
  EXPECT_EQ(message.AddData(bytes.data(), bytes.size()), 52U);
  EXPECT_EQ(message.Text(),
            "{\"type\":\"1\",\"k\":\"a\"b\\c\x01\xC4\xE3\",\"data\":[-1,1,-128,127,0]}");
  message.Start();
  message.AddData(bytes.data(), 0);
  EXPECT_EQ(message.Text(), R"({"data":[-1]})");  // never none
}

}  // namespace
}  // namespace idcardreader
