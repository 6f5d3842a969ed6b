#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "service/host_names.h"
#include "service/scripted_sockets.h"
#include "service/socket_transport.h"
#include "support/bytes.h"
#include "support/captured_output.h"
#include "support/logs.h"
#include "support/test_clock.h"

// The link's way to its servers: their names, and the socket.

namespace idcardreader {
namespace {

class HostNamesTest : public testing::Test {
 protected:
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
};

TEST_F(HostNamesTest, SilentNamesTakeThreeSecondsTogetherAndAreAskedOnce) {
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
