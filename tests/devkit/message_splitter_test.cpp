// Messages are found in the stream however the network cut it.

#include "decode_service/message_splitter.h"

#include "decode_service/client_message.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

using Kind = MessageSplitter::Piece::Kind;

// "{...}" for an object, "|" for a line feed, "?" for what is neither.
std::string Pieces(MessageSplitter& splitter, const std::string& bytes) {
  std::string text;
  for (const MessageSplitter::Piece& piece : splitter.Feed(bytes)) {
    text += piece.kind == Kind::object ? piece.text : piece.kind == Kind::line_feed ? "|" : "?";
  }
  return text;
}

TEST(MessageSplitterTest, FindsMessagesHoweverTheStreamIsCut) {
  const std::string stream = "{\"a\":\"}{\"}\n{\"b\":[1,{\"c\":2}]}{\"d\":\"\\\"}\"}\n";
  const std::string wanted = "{\"a\":\"}{\"}|{\"b\":[1,{\"c\":2}]}{\"d\":\"\\\"}\"}|";
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    MessageSplitter splitter;
    std::string found;
    for (std::size_t i = 0; i < stream.size(); i += size) {
      found += Pieces(splitter, stream.substr(i, size));
    }
    EXPECT_EQ(found, wanted) << "in pieces of " << size;
  }
}

TEST(MessageSplitterTest, BytesBetweenMessagesAreStray) {
  MessageSplitter splitter;
  EXPECT_EQ(Pieces(splitter, std::string("{}\0{}", 5)), "{}?{}");
}

TEST(MessageSplitterTest, AnEndlessMessageIsGivenUp) {
  MessageSplitter splitter;
  EXPECT_EQ(Pieces(splitter, "{" + std::string(MessageSplitter::kLongestObject, 'x')), "?");
}

TEST(ClientMessageTest, TellsWhichMessagesEndWithALineFeed) {
  const Bytes block = {0xBB};
  EXPECT_TRUE(EndsWithLineFeed(ClientTexts::Login()));
  EXPECT_TRUE(EndsWithLineFeed(ClientTexts::Upload("dn2", "t", block)));
  EXPECT_TRUE(EndsWithLineFeed(ClientTexts::NoFingerprint("t")));
  EXPECT_FALSE(EndsWithLineFeed(ClientTexts::Heartbeat()));
  EXPECT_FALSE(EndsWithLineFeed(ClientTexts::DeviceCodeUpload("NULL", block)));
}

TEST(ClientMessageTest, ReadsTheBlock) {
  const Bytes block = {0xBB, 0xB2, 0x80, 0xFF};
  const ClientMessage message = ReadClientMessage(ClientTexts::Upload("BBB2", "tok", block));
  EXPECT_EQ(message.objection, "");
  EXPECT_EQ(message.exchange, "output-key");
  EXPECT_EQ(message.token, "tok");
  EXPECT_EQ(message.block, block);
}

TEST(ClientMessageTest, DeviceCodeUploadsAreToldByTheirBlocks) {
  const Bytes block = {0xBB, 0x12, 0x01};
  const ClientMessage message = ReadClientMessage(ClientTexts::DeviceCodeUpload("FIRST", block));
  EXPECT_EQ(message.objection, "");
  EXPECT_EQ(message.dialect, Dialect::device_code);
  EXPECT_EQ(message.exchange, "sector-12");
}

struct Wrong {
  std::string text;
  const char* objection;
};

TEST(ClientMessageTest, ObjectsToTheSmallestDeviation) {
  const std::string login = ClientTexts::Login();
  const auto changed = [](std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  };
  const std::string dn = ClientTexts::Upload("dn2", "t", Bytes{0xBB});
  const Wrong rows[] = {
      {"{", "no JSON object"},
      {changed(login, ":\"login", ": \"login"), "without blanks"},
      {changed(login, "V2.84", "V2.85"), "\"sdkVersion\" is not \"V2.84\""},
      {changed(login, "\"appId\":\"app001\",", ""), "has the members"},
      {changed(login, "app001", ""), "\"appId\" is empty"},
      {R"({"type":"HEARTBEAT","sbm":"a"})", "has the members type sbm instead of sbm type"},
      {R"({"token":"t","type":"dn2","data":[1]})", "has the members"},
      {R"({"type":"dn3","token":"t","data":[1]})", "\"type\" is unknown"},
      {R"({"type":"dn2","token":"t","data":[255]})", "no signed byte"},
      {R"({"type":"dn2","token":"t","data":[-129]})", "no signed byte"},
      {R"({"type":"dn2","token":"t","data":[1.0]})", "no signed byte"},
      {R"({"type":"dn2","token":"t","data":[1,2]})", "no whole number of blocks"},
      {R"({"type":"BB21_2","token":"t","data":[1]})", "has the members"},
      {changed(dn, "[", "[+"), "no JSON object"},
      {R"({"sbm":"a","type":"INFO","dataType":"SECOND","data":[1]})", "unknown"},
  };
  for (const Wrong& row : rows) {
    EXPECT_NE(ReadClientMessage(row.text).objection.find(row.objection), std::string::npos)
        << row.text << ": " << ReadClientMessage(row.text).objection;
  }
}

}  // namespace
}  // namespace devkit
