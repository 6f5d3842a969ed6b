// Messages are found in the stream however the network cut it, and only a client's own are taken.

#include "decode_service/client_message.h"

#include "decode_service/message_splitter.h"
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

TEST(MessageSplitterTest, BytesBetweenMessagesAreStrayAndAnEndlessOneIsGivenUp) {
  MessageSplitter splitter;
  EXPECT_EQ(Pieces(splitter, std::string("{}\0{}", 5)), "{}?{}");
  EXPECT_EQ(Pieces(splitter, "{" + std::string(MessageSplitter::kLongestObject, 'x')), "?");
}

TEST(ClientMessageTest, ObjectsToTheSmallestDeviation) {
  const std::string login = ClientTexts::Login();
  const auto changed = [](std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  };
  const std::string dn = ClientTexts::Upload("dn2", "t", Bytes{0xBB});
  const std::pair<std::string, const char*> rows[] = {
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
  for (const auto& [text, objection] : rows) {
    const std::string found = ReadClientMessage(text).objection;
    EXPECT_NE(found.find(objection), std::string::npos) << text << ": " << found;
  }
}

TEST(CipherTest, RefusesWhatNoClientEnciphers) {
  const Bytes key(kMessageKey.begin(), kMessageKey.end());
  for (const CipherBlock& last :
       {CipherBlock{}, {0, 0, 0, 0, 0, 0, 0, 9}, {0, 0, 0, 0, 0, 0, 1, 3}}) {
    EXPECT_THROW(Decipher(kMessageKey, EncipherBlock(key, last)), std::runtime_error);
  }
}

}  // namespace
}  // namespace devkit
