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
#include "support/captured_output.h"
#include "support/eventually.h"
#include "support/logs.h"
#include "support/status_codes.h"
#include "support/test_clock.h"
#include "support/text.h"

// The link, and its way to its servers: their names, and the socket.

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class DecodeServerLinkTest : public testing::Test {
 protected:
  using enum ServiceCommand;

  DecodeServerLinkTest() {
    sockets.servers[1] = {false, 1, 111};  // nobody listens on port 1
    sockets.names = {{"one.example", "10.0.0.1"}, {"two.example", "10.0.0.2"}};
    link.emplace(sockets, names, clock, TokenDialect());
  }

  bool Init(ReadGeneration generation) {
    return link->ServerInit(generation, {{}, {{"10.0.0.1", 80}}, {}});
  }
  void Post(ReadGeneration generation, const std::vector<ServiceCommand>& commands) {
    for (const auto command : commands) link->PostCommand(generation, command, Block(64));
  }
  std::map<ResultItem, std::string> AwaitResult(ReadGeneration generation) {
    std::map<ResultItem, std::string> result;
    EXPECT_TRUE(Eventually([&] { return !(result = link->TakeResult(generation)).empty(); }));
    return result;
  }
  // The addresses that are found, each with the place of its host for a port. The clock goes on by
  // this much each time that the wait is looked at.
  std::string Resolve(const std::vector<std::string>& hosts, std::uint32_t pace = 0,
                      bool givenUp = false) {
    std::vector<ServerEndpoint> servers;
    std::uint16_t place = 0;
    for (const std::string& host : hosts) servers.push_back({host, place++});
    const auto look = [&] {
      clock.ticks += pace;
      return givenUp;
    };
    std::string found;
    for (const ServerEndpoint& server : names.Resolve(servers, look)) {
      found += server.host + ":" + std::to_string(server.port) + " ";
    }
    return found;
  }

  ScriptedSockets sockets;
  TestClock clock;
  HostNames names{sockets, clock};
  std::optional<DecodeServerLink> link;
};

TEST_F(DecodeServerLinkTest, TriesTwoServersInTheirOrder) {
  const struct {
    std::vector<ServerEndpoint> servers;
    std::vector<ServerEndpoint> hosts;
    const char* connects;
  } rows[] = {
      {{{"10.0.0.1", 80}, {"10.0.0.2", 81}}, {{"one.example", 82}}, "connect 10.0.0.1:80; "},
      {{}, {{"10.0.0.1", 1}}, "connect 10.0.0.1:1; "},
      {{}, {{"one.example", 1}, {"10.0.0.2", 81}}, "connect 10.0.0.1:1; connect 10.0.0.2:81; "},
      {{{"10.0.0.1", 1}, {"10.0.0.2", 1}, {"10.0.0.3", 80}},
       {},
       "connect 10.0.0.1:1; connect 10.0.0.2:1; "}};
  for (const auto& row : rows) {
    link.emplace(sockets, names, clock, TokenDialect());
    const bool connects = !std::string(row.connects).ends_with(":1; ");
    EXPECT_EQ(link->ServerInit(1, {{}, row.servers, row.hosts}), connects) << row.connects;
    EXPECT_EQ(link->Started(1), connects) << row.connects;
    EXPECT_EQ(sockets.TakeCalls("connect"), row.connects);
  }
}

TEST_F(DecodeServerLinkTest, LooksNamesUpUntilTheyHaveAnAddress) {
  EXPECT_FALSE(link->ServerInit(1, {{}, {}, {{"gone.example", 80}}}));
  for (const ReadGeneration generation : {ReadGeneration{2}, ReadGeneration{3}}) {
    ASSERT_TRUE(link->ServerInit(generation, {{}, {}, {{"one.example", 80}}}));
    clock.ticks += 10'000;
  }
  EXPECT_EQ(sockets.TakeCalls("resolve"), "resolve gone.example; resolve one.example; ");
  EXPECT_FALSE(link->Started(2));
}

TEST_F(DecodeServerLinkTest, TheFirstOfTwoKeysCounts) {
  const devkit::Bytes another = wire::KeyBlock(0xA2, "8877665544332211");
  sockets.Answer(wire::InputKeyAnswer());
  sockets.Answer(R"({"code":"00","type":"dn","data":)" + wire::KeyData(another) + "}");
  sockets.Answer("{}");
  ASSERT_TRUE(Init(1));
  Post(1, {dn, dn, dn});
  AwaitResult(1);
  EXPECT_EQ(HexText(link->TakeKey(1, KeyKind::input)), "1122334455667788");
}

// The clock stands still, so that only the end of the read can end its wait.
TEST_F(DecodeServerLinkTest, ASilentNameServerHoldsNoReadThatIsOver) {
  const ServiceSettings settings{{}, {}, {{"one.example", 80}, {"two.example", 80}}};
  sockets.silentNames = {"one.example"};
  std::thread reading([&] { EXPECT_FALSE(link->ServerInit(1, settings)); });
  for (const char* call : {"resolve one", "resolve two"}) {
    EXPECT_TRUE(Eventually([&] { return !sockets.TakeCalls(call).empty(); }));
  }
  link->EndRead(1);
  reading.join();
  EXPECT_FALSE(link->ServerInit(1, settings));  // as when the stop comes first
  sockets.EndSilence();
  EXPECT_TRUE(link->ServerInit(2, settings));  // with both of them
  EXPECT_EQ(sockets.TakeCalls("connect"), "connect 10.0.0.1:80; ");
}

TEST_F(DecodeServerLinkTest, AStoppedReadLeavesTheConnectAndTheSecondServer) {
  sockets.servers[1] = {false, 0, 0};  // does not answer
  sockets.onConnectWait = [this] { link->EndRead(1); };
  EXPECT_FALSE(link->ServerInit(1, {{}, {{"10.0.0.1", 1}, {"10.0.0.2", 80}}, {}}));
  EXPECT_EQ(sockets.TakeCalls("wait"), "wait 11 50; ");
}

TEST_F(DecodeServerLinkTest, DropsTheRestOfAReadAfterAFailure) {
  sockets.onSend = [this](const std::string&) { sockets.Answer("{}"); };
  ASSERT_TRUE(Init(1));
  Post(1, {dn, sector11});
  EXPECT_EQ(AwaitResult(1)[ResultItem::fail], "Fail");
  EXPECT_EQ(link->TakeFailureText(), StatusText(ERRORT_ParseInputKey));
  Post(1, {sector12});
  platform::SystemClock().Sleep(20);  // nothing tells that it is not performed
  ASSERT_TRUE(Init(2));               // waits for the exchange under way, if there is one
  EXPECT_EQ(sockets.Sent().size(), 1U);
  Post(2, {dn});
  ASSERT_TRUE(sockets.AwaitSent(2));
  ASSERT_TRUE(Init(3));
  EXPECT_THAT(link->TakeResult(3), IsEmpty());  // what nobody has taken belongs to the old read
  EXPECT_EQ(link->TakeFailureText(), "");
}

TEST_F(DecodeServerLinkTest, TakesNothingOfAnOlderRead) {
  ASSERT_TRUE(Init(2));
  Post(1, {sector11});
  Post(3, {sector11});
  link->EndRead(2);
  Post(2, {sector12});
  ASSERT_TRUE(Init(4));
  EXPECT_FALSE(Init(3));
  link->EndRead(3);  // not this one's
  Post(4, {sector13});
  ASSERT_TRUE(sockets.AwaitSent(1));
  EXPECT_THAT(sockets.Sent(), ElementsAre(StartsWith(R"({"type":"BB13")")));
}

// The client thread wakes for the command while the socket is still another's; by the time that it
// has it, the command is of no use any more.
TEST_F(DecodeServerLinkTest, ACommandThatWaitedForTheSocketIsNotPerformedForTheNextRead) {
  ASSERT_TRUE(Init(1));
  sockets.servers[1] = {false, 0, 0};
  sockets.onConnectWait = [this, waits = 0]() mutable {
    if (++waits == 1) Post(2, {sector11});
    platform::SystemClock().Sleep(2);
    if (waits == 20) link->EndRead(2);
  };
  EXPECT_FALSE(link->ServerInit(2, {{}, {{"10.0.0.1", 1}}, {}}));
  ASSERT_TRUE(Init(3));
  Post(3, {sector12});
  ASSERT_TRUE(sockets.AwaitSent(1));
  EXPECT_THAT(sockets.Sent(), ElementsAre(StartsWith(R"({"type":"BB12")")));
}

TEST_F(DecodeServerLinkTest, AnExchangeIsCutOffByANewReadAndByTheEnd) {
  sockets.blockWithoutAnswer = true;
  ASSERT_TRUE(Init(1));
  ErrorLog().ClearLastMessage();
  Post(1, {dn, sector11});
  ASSERT_TRUE(sockets.AwaitSent(1));
  ASSERT_TRUE(Init(2));
  EXPECT_THAT(link->TakeResult(1), IsEmpty());
  EXPECT_THAT(link->TakeResult(2), IsEmpty());
  // The cut itself is logged by the socket; no code was raised for it.
  EXPECT_EQ(ErrorLog().LastMessage() + link->TakeFailureText(), "socket read fail2(-1)");
  Post(2, {login});
  ASSERT_TRUE(sockets.AwaitSent(2));
  EXPECT_THAT(sockets.Sent()[1], StartsWith(R"({"appId":)"));
  link.reset();
  EXPECT_EQ(sockets.TakeCalls("shutdown"), "shutdown 11; shutdown 12; ");
}

TEST_F(DecodeServerLinkTest, ARefusedLoginIsNeededAgainAndIsLoggedInGbk) {
  const std::string refusal = R"({"code":"17","msg":"不"})";
  for (const ReadGeneration read : {ReadGeneration{1}, ReadGeneration{2}}) {
    ErrorLog().ClearLastMessage();
    ASSERT_TRUE(Init(read));
    sockets.Answer(read == 1 ? refusal : Gbk(refusal));
    Post(read, {login});
    AwaitResult(read);
    EXPECT_TRUE(link->LoginNeeded());
    EXPECT_EQ(ErrorLog().LastMessage(), Gbk(refusal));
  }
}

TEST_F(DecodeServerLinkTest, SilentNamesTakeThreeSecondsTogetherAndAreAskedOnce) {
  sockets.names = {{"good", "10.0.0.1"}, {"late", "10.0.0.2"}};
  sockets.silentNames = {"late", "silent"};
  EXPECT_EQ(Resolve({"late"}, 0, true), "");  // given up, which is no failure
  EXPECT_EQ(Resolve({"good"}), "10.0.0.1:0 ");
  EXPECT_EQ(Resolve({"late", "10.9.8.7", "good", "", "silent"}, 500), "10.9.8.7:1 10.0.0.1:2 ");
  EXPECT_EQ(clock.ticks, 4'000U);
  EXPECT_EQ(Resolve({"late"}), "");  // at once: the clock stands
  clock.ticks += 4'999;
  EXPECT_EQ(Resolve({"late"}), "");
  clock.ticks += 1;
  EXPECT_EQ(Resolve({"late"}, 500), "");
  EXPECT_EQ(clock.ticks, 12'000U);
  sockets.EndSilence();
  EXPECT_TRUE(Eventually([this] { return Resolve({"late"}) == "10.0.0.2:0 "; }));
  EXPECT_EQ(sockets.TakeCalls("resolve late"), "resolve late; ");
  for (const char* asked : {"resolve gone; ", ""}) {
    EXPECT_EQ(Resolve({"gone"}), "");
    EXPECT_EQ(sockets.TakeCalls("resolve gone"), asked);
  }
}

TEST(SocketTransport, WaitsOneSecondForAConnectionUnderWay) {
  const std::pair<ScriptedSockets::Server, bool> rows[] = {{{false, 1, 0}, true},
                                                           {{false, 1, 111}, false},
                                                           {{false, 0, 0}, false},
                                                           {{false, -1, 0}, false}};
  for (const auto& [server, connects] : rows) {
    ScriptedSockets sockets;
    sockets.servers[80] = server;
    SocketTransport transport(sockets);
    EXPECT_TRUE(transport.CreateSocket());
    CapturedOutput output;
    EXPECT_EQ(transport.ConnectServer({"10.0.0.1", 80}, [] { return false; }), connects);
    EXPECT_EQ(output.Take(), Gbk(connects ? "连接成功\n" : "连接失败\n"));
    const std::string waits = sockets.TakeCalls("wait 11 50");
    EXPECT_EQ(std::count(waits.begin(), waits.end(), ';'), server.writable == 0 ? 20 : 1);
    // The number of a socket that was closed may belong to somebody else.
    transport.Shutdown();
    transport.CloseSocket();
    transport.CloseSocket();
    EXPECT_EQ(sockets.TakeCalls("shutdown"), connects ? "shutdown 11; " : "");
    EXPECT_EQ(sockets.TakeCalls("close"), "close 11; ");
  }
}

TEST(SocketTransport, AsksTheSystemForSocketsUntilItGivesThem) {
  using Start = platform::SocketApi::Start;
  ScriptedSockets sockets;
  {
    SocketTransport transport(sockets);
    for (const auto& [start, text] : {std::pair{Start::failed, "winsock init fail"},
                                      {Start::wrong_version, "winsock version fail"},
                                      {Start::ok, "socket creat fail"}}) {
      sockets.start = start;
      sockets.creates = false;
      EXPECT_FALSE(transport.CreateSocket());
      EXPECT_EQ(ErrorLog().LastMessage(), text);
    }
    sockets.creates = true;
    EXPECT_TRUE(transport.CreateSocket());
  }
  EXPECT_EQ(sockets.TakeCalls(""),
            "start; start; start; create 11; timeouts 11 1000; dontlinger 11; close 11; stop; ");
}

}  // namespace
}  // namespace idcardreader
