#include "service/decode_server_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "service/scripted_sockets.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/eventually.h"
#include "support/logged_lines.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;

constexpr std::uint16_t kDead = 1;

class DecodeServerLinkTest : public testing::Test {
 protected:
  DecodeServerLinkTest() {
    sockets.servers[kDead] = {false, 1, 111};
    sockets.names = {{"one.example", "10.0.0.1"}, {"two.example", "10.0.0.2"}};
    link.emplace(sockets, clock);
  }

  bool Init(ReadGeneration generation) {
    if (sockets.Calls().empty()) link->SetSetting(19, "10.0.0.1.80");
    return link->ServerInit(generation);
  }
  void Post(ReadGeneration generation, std::initializer_list<std::int32_t> items) {
    for (const std::int32_t item : items) link->PostCommand(generation, item, {}, Block(64, 0));
  }
  bool AwaitEvent(ReadGeneration generation, std::int32_t item) {
    return Eventually([&] { return !link->TakeEvent(generation, item).empty(); });
  }
  std::vector<std::string> Calls(const std::string& verb) {
    std::vector<std::string> calls = sockets.Calls();
    std::erase_if(calls, [&verb](const std::string& call) { return !call.starts_with(verb); });
    return calls;
  }

  ScriptedSockets sockets;
  TestClock clock;
  std::optional<DecodeServerLink> link;
};

struct ServerCase {
  const char* name;
  std::vector<std::pair<std::int32_t, const char*>> settings;
  bool connected;
  std::vector<std::string> calls;  // look-ups and connects
};

class ServersOfTheLink : public DecodeServerLinkTest,
                         public testing::WithParamInterface<ServerCase> {};

TEST_P(ServersOfTheLink, AreTriedInOrder) {
  for (const auto& [item, text] : GetParam().settings) link->SetSetting(item, text);
  EXPECT_EQ(link->ServerInit(1), GetParam().connected);
  EXPECT_EQ(link->Started(1), GetParam().connected);
  std::vector<std::string> calls = sockets.Calls();
  std::erase_if(calls, [](const std::string& call) {
    return !call.starts_with("resolve") && !call.starts_with("connect");
  });
  EXPECT_EQ(calls, GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, ServersOfTheLink,
    testing::Values(
        ServerCase{
            "First", {{19, "10.0.0.1.80"}, {24, "10.0.0.2.81"}}, true, {"connect 11 10.0.0.1:80"}},
        ServerCase{"SecondWhenTheFirstIsDown",
                   {{19, "10.0.0.1.1"}, {24, "10.0.0.2.81"}},
                   true,
                   {"connect 11 10.0.0.1:1", "connect 12 10.0.0.2:81"}},
        ServerCase{"BothDown",
                   {{19, "10.0.0.1.1"}, {24, "10.0.0.2.1"}},
                   false,
                   {"connect 11 10.0.0.1:1", "connect 12 10.0.0.2:1"}},
        ServerCase{"OnlyOneAndDown", {{26, "10.0.0.1*1"}}, false, {"connect 11 10.0.0.1:1"}},
        ServerCase{"None", {}, false, {}},
        ServerCase{
            "DottedHostWithoutALookUp", {{26, "10.9.8.7*80"}}, true, {"connect 11 10.9.8.7:80"}},
        ServerCase{"ByName",
                   {{26, "one.example*1"}, {27, "two.example*81"}},
                   true,
                   {"resolve one.example", "resolve two.example", "connect 11 10.0.0.1:1",
                    "connect 12 10.0.0.2:81"}},
        ServerCase{"ANameWithoutAddressIsPassedOver",
                   {{26, "gone.example*80"}, {27, "two.example*81"}},
                   true,
                   {"resolve gone.example", "resolve two.example", "connect 11 10.0.0.2:81"}}),
    [](const auto& servers) { return servers.param.name; });

TEST_F(DecodeServerLinkTest, LooksNamesUpOnceAndReconnectsWithEachRead) {
  link->SetSetting(21, "250");
  link->SetSetting(26, "one.example*80");
  ASSERT_TRUE(link->ServerInit(1));
  ASSERT_TRUE(link->ServerInit(2));
  EXPECT_THAT(Calls("resolve"), ElementsAre("resolve one.example"));
  EXPECT_THAT(Calls("connect"), ElementsAre("connect 11 10.0.0.1:80", "connect 12 10.0.0.1:80"));
  EXPECT_THAT(Calls("timeouts"), ElementsAre("timeouts 11 250", "timeouts 12 250"));
  EXPECT_THAT(Calls("close"), ElementsAre("close 11"));
  EXPECT_FALSE(link->Started(1));
  EXPECT_TRUE(link->Started(2));
}

TEST_F(DecodeServerLinkTest, TracesWhichServerItHas) {
  const auto file = platform::LibraryFolder() / "logdata" / "20240102-030405006-Server.txt";
  std::filesystem::remove(file);
  link->SetSetting(22, "1");
  link->SetSetting(19, "10.0.0.1.1");
  link->SetSetting(24, "10.0.0.2.81");
  ASSERT_TRUE(link->ServerInit(1));
  std::vector<std::string> lines;
  EXPECT_TRUE(Eventually([&] { return (lines = LinesOf(file)).size() >= 11; }));
  for (std::string& line : lines) line = line.substr(line.rfind('|') + 1);
  EXPECT_THAT(lines, ElementsAre("Server Init Begin", "InitSocket", "Socket New", "Socket Close",
                                 "Socket Init", "SER 1 fail10.0.0.1", "InitSocket", "Socket Close",
                                 "Socket Init", "SER 2 sucess10.0.0.2", "Server Init End"));
}

TEST_F(DecodeServerLinkTest, WithoutASocketRaises3InTheSecondAttempt) {
  sockets.creates = false;
  const LoggedLines errors;
  EXPECT_FALSE(Init(1));
  EXPECT_THAT(errors.Get(), ElementsAre("socket creat fail", "socket creat fail",
                                        Text("CDF8C2E7B3F5CABCBBAFCAA7B0DC") + ","));
  EXPECT_EQ(link->TakeFailureText(), Text("CDF8C2E7B3F5CABCBBAFCAA7B0DC"));
  EXPECT_EQ(link->TakeFailureText(), "");
}

TEST_F(DecodeServerLinkTest, FilesKeysForTheirReadAndGivesThemOnce) {
  sockets.Answer(wire::InputKeyAnswer());
  ASSERT_TRUE(Init(1));
  Post(1, {5});
  Block key;
  EXPECT_TRUE(Eventually([&] { return !(key = link->TakeKey(1, 6)).empty(); }));
  EXPECT_EQ(key, Bytes("1122334455667788"));
  EXPECT_THAT(link->TakeKey(1, 6), IsEmpty());
}

TEST_F(DecodeServerLinkTest, SendsEveryCommandPostedDuringOneExchange) {
  sockets.blockWithoutAnswer = true;
  ASSERT_TRUE(Init(1));
  Post(1, {3});
  ASSERT_TRUE(sockets.AwaitSent(1));
  Post(1, {7, 99, 8, 9, 10, 11});  // 7 and unknown ones are taken off without traffic
  for (int answer = 0; answer < 4; ++answer) sockets.Answer(wire::kAcknowledgement);
  sockets.Answer(wire::PermitAnswer());
  ASSERT_TRUE(sockets.AwaitSent(5));
  EXPECT_TRUE(AwaitEvent(1, 53));
  EXPECT_EQ(link->TakeEvent(1, 50), "Success");
  const auto sent = sockets.Sent();
  EXPECT_THAT(sent, ElementsAre(StartsWith(R"({"sbm":)"), StartsWith(R"({"type":"BB11")"),
                                StartsWith(R"({"type":"BB12")"), StartsWith(R"({"type":"BB13")"),
                                StartsWith(R"({"type":"BB21_2")")));
}

TEST_F(DecodeServerLinkTest, EachCommandHasItsOwnBlock) {
  ASSERT_TRUE(Init(1));
  sockets.blockWithoutAnswer = true;
  Block block(1024, 0);
  link->PostCommand(1, 9, "SECTOR12", block);
  ASSERT_TRUE(sockets.AwaitSent(1));
  link->PostCommand(1, 10, "SECTOR13", block);
  block.assign(1024, 0xFF);
  sockets.Answer(wire::kAcknowledgement);
  ASSERT_TRUE(sockets.AwaitSent(2));
  EXPECT_THAT(sockets.Sent()[1], testing::EndsWith(",73,11,-54,50,19,-31,-59,0]}\n"));
}

TEST_F(DecodeServerLinkTest, DropsTheRestOfAReadAfterAFailure) {
  const LoggedLines errors;
  sockets.onSend = [this](const std::string&) { sockets.Answer(R"({"code":"05","msg":"no"})"); };
  ASSERT_TRUE(Init(1));
  Post(1, {5, 8, 9, 10, 11});
  EXPECT_TRUE(AwaitEvent(1, 53));
  EXPECT_EQ(link->TakeEvent(1, 51), "Fail");
  EXPECT_EQ(link->TakeFailureText(), Text("CDF8C2E7BDE2CEF6312D4A736F6EB4EDCEF3"));
  EXPECT_THAT(errors.Get(), ElementsAre(Text("CDF8C2E7BDE2CEF6312D4A736F6EB4EDCEF3") + ",",
                                        R"({"code":"05","msg":"no"})"));
  Post(1, {8});
  ASSERT_TRUE(Init(2));  // waits for the exchange under way, if there is one
  EXPECT_EQ(sockets.Sent().size(), 1U);
  Post(2, {8});
  ASSERT_TRUE(sockets.AwaitSent(2));
  EXPECT_EQ(link->TakeEvent(2, 51) + link->TakeEvent(2, 53) + link->TakeFailureText(), "");
}

TEST_F(DecodeServerLinkTest, TakesNothingOfAnOlderRead) {
  ASSERT_TRUE(Init(2));
  Post(1, {8});
  Post(3, {8});
  link->EndRead(2);
  Post(2, {9});
  ASSERT_TRUE(Init(4));
  Post(4, {10});
  ASSERT_TRUE(sockets.AwaitSent(1));
  EXPECT_THAT(sockets.Sent(), ElementsAre(StartsWith(R"({"type":"BB13")")));
  EXPECT_FALSE(link->Started(2));
}

TEST_F(DecodeServerLinkTest, ANewReadCutsAnExchangeOffAndHearsNothingOfIt) {
  sockets.blockWithoutAnswer = true;
  const LoggedLines errors;
  ASSERT_TRUE(Init(1));
  Post(1, {5, 8});
  ASSERT_TRUE(sockets.AwaitSent(1));
  ASSERT_TRUE(Init(2));
  EXPECT_EQ(link->TakeEvent(1, 51) + link->TakeEvent(2, 51) + link->TakeFailureText(), "");
  Post(2, {14});
  ASSERT_TRUE(sockets.AwaitSent(2));
  EXPECT_THAT(sockets.Sent()[1], StartsWith(R"({"appId":)"));
  // The cut itself is logged by the socket; no code was raised for it.
  EXPECT_THAT(errors.Get(), ElementsAre("socket read fail2(-1)"));
}

TEST_F(DecodeServerLinkTest, EndsAlsoDuringAnExchange) {
  sockets.blockWithoutAnswer = true;
  ASSERT_TRUE(Init(1));
  Post(1, {5});
  ASSERT_TRUE(sockets.AwaitSent(1));
  link.reset();
  EXPECT_EQ(sockets.Calls().back(), "stop");
  EXPECT_THAT(sockets.Calls(), IsSupersetOf({"shutdown 11", "close 11"}));
}

TEST_F(DecodeServerLinkTest, KeepsItsLoginUntilTheTokenExpires) {
  EXPECT_TRUE(link->LoginNeeded());
  sockets.Answer(wire::kLoginAnswer);
  ASSERT_TRUE(Init(1));
  Post(1, {14});
  EXPECT_TRUE(Eventually([&] { return !link->LoginNeeded(); }));
  ASSERT_TRUE(Init(2));
  EXPECT_FALSE(link->LoginNeeded());
  sockets.Answer("{\"code\":\"09\",\"msg\":\"token\xD2\xD1\xB9\xFD\xC6\xDA\"}");
  Post(2, {14, 5});
  EXPECT_TRUE(AwaitEvent(2, 53));
  EXPECT_TRUE(Eventually([&] { return link->LoginNeeded(); }));
  const auto sent = sockets.Sent();  // logged in already, the second login sends nothing
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_THAT(sent[1], StartsWith(R"({"type":"dn2","token":"tk-1")"));
}

TEST_F(DecodeServerLinkTest, ARefusedLoginIsNeededAgain) {
  const LoggedLines errors;
  sockets.Answer(R"({"code":"17","msg":"不"})");
  ASSERT_TRUE(Init(1));
  Post(1, {14});
  EXPECT_TRUE(AwaitEvent(1, 53));
  EXPECT_TRUE(link->LoginNeeded());
  EXPECT_THAT(errors.Get(), ElementsAre(Text("CDF8C2E7BDE2CEF6746F6B656EB4EDCEF3") + ",code:17",
                                        Gbk(R"({"code":"17","msg":"不"})")));
}

TEST_F(DecodeServerLinkTest, TheDeviceCodeDialectKnowsNoLogin) {
  link->SetTokenProtocol(false);
  EXPECT_FALSE(link->LoginNeeded());
  link->SetSetting(23, "a&b");
  ASSERT_TRUE(Init(1));
  Post(1, {8});
  ASSERT_TRUE(sockets.AwaitSent(1));
  EXPECT_THAT(sockets.Sent()[0], StartsWith(R"({"sbm":"a&b","type":"INFO","dataType":"FIRST")"));
}

}  // namespace
}  // namespace idcardreader
