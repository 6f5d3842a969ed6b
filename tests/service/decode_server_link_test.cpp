#include "service/decode_server_link.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "service/scripted_sockets.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/eventually.h"
#include "support/logged_lines.h"
#include "support/test_clock.h"
#include "support/text.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Settings = std::vector<std::pair<std::int32_t, const char*>>;

class DecodeServerLinkTest : public testing::Test {
 protected:
  DecodeServerLinkTest() {
    sockets.servers[1] = {false, 1, 111};  // nobody listens on port 1
    sockets.names = {{"one.example", "10.0.0.1"}, {"two.example", "10.0.0.2"}};
    link.emplace(sockets, names, clock, TokenDialect());
  }

  void Set(const Settings& settings) {
    for (const auto& [item, text] : settings)
      link->SetSetting(static_cast<LinkSetting>(item), text);
  }
  bool Init(ReadGeneration generation) {
    if (sockets.Calls().empty()) link->SetSetting(LinkSetting::server1, "10.0.0.1.80");
    return link->ServerInit(generation);
  }
  void Post(ReadGeneration generation, std::initializer_list<std::int32_t> items) {
    for (const std::int32_t item : items) {
      link->PostCommand(generation, static_cast<ServiceCommand>(item), Block(64, 0));
    }
  }
  std::map<ResultItem, std::string> AwaitResult(ReadGeneration generation) {
    std::map<ResultItem, std::string> result;
    EXPECT_TRUE(Eventually([&] { return !(result = link->TakeResult(generation)).empty(); }));
    return result;
  }
  // The calls of the network that begin so, in one text.
  static std::string Calls(ScriptedSockets& network, const char* first, const char* second) {
    std::string calls;
    for (const std::string& call : network.Calls()) {
      if (call.starts_with(first) || call.starts_with(second)) calls += call + "; ";
    }
    return calls;
  }

  ScriptedSockets sockets;
  TestClock clock;
  HostNames names{sockets, clock};
  std::optional<DecodeServerLink> link;
};

struct ServerCase {
  Settings settings;
  bool connected;
  const char* calls;
};

TEST_F(DecodeServerLinkTest, TriesTwoServersInTheirOrder) {
  const ServerCase kCases[] = {
      {{{19, "10.0.0.1.80"}, {24, "10.0.0.2.81"}}, true, "connect 11 10.0.0.1:80; "},
      {{{19, "10.0.0.1.1"}, {24, "10.0.0.2.81"}},
       true,
       "connect 11 10.0.0.1:1; connect 12 10.0.0.2:81; "},
      {{{19, "10.0.0.1.1"}, {24, "10.0.0.2.1"}, {24, "10.0.0.3.80"}},
       false,
       "connect 11 10.0.0.1:1; connect 12 10.0.0.2:1; "},
      {{{26, "10.0.0.1*1"}}, false, "connect 11 10.0.0.1:1; "},
      {{}, false, ""},
      {{{26, "10.9.8.7*80"}}, true, "connect 11 10.9.8.7:80; "},
      {{{26, "one.example*1"}, {27, "two.example*81"}},
       true,
       "connect 11 10.0.0.1:1; connect 12 10.0.0.2:81; "},
      {{{26, "gone.example*80"}, {27, "two.example*81"}}, true, "connect 11 10.0.0.2:81; "},
  };
  for (const ServerCase& row : kCases) {
    ScriptedSockets network;
    network.servers = sockets.servers;
    network.names = sockets.names;
    HostNames networkNames(network, clock);
    link.emplace(network, networkNames, clock, TokenDialect());
    Set(row.settings);
    EXPECT_EQ(link->ServerInit(1), row.connected) << row.calls;
    EXPECT_EQ(link->Started(1), row.connected) << row.calls;
    EXPECT_EQ(Calls(network, "connect", "connect"), row.calls);
    link.reset();
  }
}

TEST_F(DecodeServerLinkTest, LooksNamesUpOnceAndReconnectsWithEachRead) {
  Set({{21, "250"}, {26, "one.example*80"}});
  ASSERT_TRUE(link->ServerInit(1));
  ASSERT_TRUE(link->ServerInit(2));
  EXPECT_EQ(Calls(sockets, "resolve", "connect"),
            "resolve one.example; connect 11 10.0.0.1:80; connect 12 10.0.0.1:80; ");
  EXPECT_EQ(Calls(sockets, "timeouts", "close"), "timeouts 11 250; close 11; timeouts 12 250; ");
  EXPECT_FALSE(link->Started(1));
  EXPECT_TRUE(link->Started(2));
}

TEST_F(DecodeServerLinkTest, LooksAMissingNameUpOnceAStart) {
  Set({{26, "gone.example*80"}});
  EXPECT_FALSE(link->ServerInit(1));
  EXPECT_EQ(Calls(sockets, "resolve", "connect"), "resolve gone.example; ");
}

// The clock stands still, so that only the end of the read can end its wait.
TEST_F(DecodeServerLinkTest, ASilentNameServerHoldsNoReadThatIsOver) {
  sockets.silentNames = {"one.example"};
  Set({{26, "one.example*80"}, {27, "two.example*80"}});
  std::thread reading([this] { EXPECT_FALSE(link->ServerInit(1)); });
  EXPECT_TRUE(Eventually([this] {
    const std::string calls = Calls(sockets, "resolve", "resolve");
    return std::count(calls.begin(), calls.end(), ';') == 2;
  }));
  link->EndRead(1);
  reading.join();
  EXPECT_FALSE(link->ServerInit(1));  // as when the stop comes first
  sockets.EndSilence();
  EXPECT_TRUE(link->ServerInit(2));  // with both of them
  EXPECT_EQ(Calls(sockets, "connect", "connect"), "connect 12 10.0.0.1:80; ");
}

TEST_F(DecodeServerLinkTest, AStoppedReadLeavesTheConnectAndTheSecondServer) {
  sockets.servers[1] = {false, 0, 0};  // does not answer
  Set({{19, "10.0.0.1.1"}, {24, "10.0.0.2.80"}});
  sockets.onConnectWait = [this] { link->EndRead(1); };
  EXPECT_FALSE(link->ServerInit(1));
  EXPECT_EQ(Calls(sockets, "connect", "wait"), "connect 11 10.0.0.1:1; wait 11 50; ");
}

TEST_F(DecodeServerLinkTest, WithoutASocketRaises3InTheSecondAttempt) {
  const std::string text = Text("CDF8C2E7B3F5CABCBBAFCAA7B0DC");
  sockets.creates = false;
  const LoggedLines errors;
  EXPECT_FALSE(Init(1));
  EXPECT_THAT(errors.Get(), ElementsAre("socket creat fail", "socket creat fail", text + ","));
  EXPECT_EQ(link->TakeFailureText() + link->TakeFailureText(), text);
}

TEST_F(DecodeServerLinkTest, SendsEveryCommandPostedDuringOneExchange) {
  sockets.blockWithoutAnswer = true;
  ASSERT_TRUE(Init(1));
  Post(1, {3});
  ASSERT_TRUE(sockets.AwaitSent(1));
  Post(1, {7, 99, 8, 9, 10, 11});  // 7 and unknown ones are taken off without traffic
  for (int answer = 0; answer < 4; ++answer) sockets.Answer(wire::kAcknowledgement);
  sockets.Answer(wire::PermitAnswer());
  EXPECT_EQ(AwaitResult(1)[ResultItem::success], "Success");
  EXPECT_THAT(sockets.Sent(),
              ElementsAre(StartsWith(R"({"sbm":)"), StartsWith(R"({"type":"BB11")"),
                          StartsWith(R"({"type":"BB12")"), StartsWith(R"({"type":"BB13")"),
                          StartsWith(R"({"type":"BB21_2")")));
}

TEST_F(DecodeServerLinkTest, EachCommandHasItsOwnBlockAndKey) {
  sockets.blockWithoutAnswer = true;
  ASSERT_TRUE(Init(1));
  Block block(1024, 0);
  link->PostCommand(1, ServiceCommand::sector12, block);
  ASSERT_TRUE(sockets.AwaitSent(1));
  link->PostCommand(1, ServiceCommand::sector13, block);
  block.assign(1024, 0xFF);
  Post(1, {5});
  for (const auto& answer : {std::string("1"), std::string("2"), wire::InputKeyAnswer()}) {
    sockets.Answer(answer);
  }
  Block key;
  EXPECT_TRUE(Eventually([&] { return !(key = link->TakeKey(1, KeyKind::input)).empty(); }));
  EXPECT_EQ(HexText(key), "1122334455667788");
  EXPECT_THAT(link->TakeKey(1, KeyKind::input), IsEmpty());
  EXPECT_THAT(sockets.Sent()[1], testing::EndsWith(",73,11,-54,50,19,-31,-59,0]}\n"));
}

TEST_F(DecodeServerLinkTest, DropsTheRestOfAReadAfterAFailure) {
  const std::string text = Text("CDF8C2E7BDE2CEF6312D4A736F6EB4EDCEF3");
  const LoggedLines errors;
  sockets.onSend = [this](const std::string&) { sockets.Answer(R"({"code":"05"})"); };
  ASSERT_TRUE(Init(1));
  Post(1, {5, 8, 9, 10, 11});
  EXPECT_EQ(AwaitResult(1)[ResultItem::fail], "Fail");
  EXPECT_THAT(errors.Get(), ElementsAre(text + ",", R"({"code":"05"})"));
  EXPECT_EQ(link->TakeFailureText(), text);
  Post(1, {8});
  ASSERT_TRUE(Init(2));  // waits for the exchange under way, if there is one
  EXPECT_EQ(sockets.Sent().size(), 1U);
  EXPECT_THAT(link->TakeResult(2), IsEmpty());  // what nobody has taken belongs to the old read
  Post(2, {5});
  AwaitResult(2);
  ASSERT_TRUE(Init(3));
  EXPECT_THAT(link->TakeResult(3), IsEmpty());
  EXPECT_EQ(link->TakeFailureText(), "");
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
}

TEST_F(DecodeServerLinkTest, ANewReadCutsAnExchangeOffAndHearsNothingOfIt) {
  sockets.blockWithoutAnswer = true;
  const LoggedLines errors;
  ASSERT_TRUE(Init(1));
  Post(1, {5, 8});
  ASSERT_TRUE(sockets.AwaitSent(1));
  ASSERT_TRUE(Init(2));
  EXPECT_THAT(link->TakeResult(1), IsEmpty());
  EXPECT_THAT(link->TakeResult(2), IsEmpty());
  EXPECT_EQ(link->TakeFailureText(), "");
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
  EXPECT_EQ(Calls(sockets, "shutdown", "close"), "shutdown 11; close 11; ");
}

TEST_F(DecodeServerLinkTest, ARefusedLoginIsNeededAgainAndIsLoggedInGbk) {
  const std::string refusal = R"({"code":"17","msg":"不"})";
  ReadGeneration read = 0;
  for (const std::string& answer : {refusal, Gbk(refusal)}) {
    const LoggedLines errors;
    ASSERT_TRUE(Init(++read));
    sockets.Answer(answer);
    Post(read, {14});
    AwaitResult(read);
    EXPECT_TRUE(link->LoginNeeded());
    EXPECT_THAT(errors.Get(),
                ElementsAre(Text("CDF8C2E7BDE2CEF6746F6B656EB4EDCEF3") + ",code:17", Gbk(refusal)));
  }
}

}  // namespace
}  // namespace idcardreader
