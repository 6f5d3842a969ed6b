#include "service/socket_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "service/scripted_sockets.h"
#include "support/bytes.h"
#include "support/captured_output.h"
#include "support/logs.h"

namespace idcardreader {
namespace {

TEST(SocketTransport, WaitsOneSecondForAConnectionUnderWay) {
  const std::pair<ScriptedSockets::Server, bool> rows[] = {{{false, 1, 0}, true},
                                                           {{false, 1, 111}, false},
                                                           {{false, 0, 0}, false},
                                                           {{false, -1, 0}, false}};
  for (const auto& [server, connects] : rows) {
    ErrorLog().ClearLastMessage();
    ScriptedSockets sockets;
    sockets.servers[80] = server;
    SocketTransport transport(sockets);
    EXPECT_TRUE(transport.CreateSocket());
    CapturedOutput output;
    EXPECT_EQ(transport.ConnectServer({"10.0.0.1", 80}, [] { return false; }), connects);
    EXPECT_THAT(output.Take(),
                testing::StartsWith(Text(connects ? "C1ACBDD3B3C9B9A6" : "C1ACBDD3CAA7B0DC")));
    EXPECT_EQ(ErrorLog().LastMessage(), connects ? "" : "socket connect fail");
    // The number of a socket that was closed may belong to somebody else.
    transport.Shutdown();
    transport.CloseSocket();
    transport.CloseSocket();
    auto calls = sockets.Calls();
    EXPECT_EQ(std::erase(calls, "wait 11 50"), server.writable == 0 ? 20U : 1U);
    EXPECT_EQ(std::erase(calls, "shutdown 11"), connects ? 1U : 0U);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "close 11"), 1);
  }
}

TEST(SocketTransport, AsksTheSystemForSocketsUntilItGivesThem) {
  using Start = platform::SocketApi::Start;
  ScriptedSockets sockets;
  {
    SocketTransport transport(sockets);
    sockets.creates = false;
    for (const auto& [start, text] : {std::pair{Start::failed, "winsock init fail"},
                                      {Start::wrong_version, "winsock version fail"},
                                      {Start::ok, "socket creat fail"}}) {
      sockets.start = start;
      EXPECT_FALSE(transport.CreateSocket());
      EXPECT_EQ(ErrorLog().LastMessage(), text);
    }
    transport.CloseSocket();
    sockets.creates = true;
    EXPECT_TRUE(transport.CreateSocket());
  }
  EXPECT_THAT(sockets.Calls(),
              ElementsAre("start", "start", "start", "create 11", "timeouts 11 1000",
                          "dontlinger 11", "close 11", "stop"));
}

}  // namespace
}  // namespace idcardreader
