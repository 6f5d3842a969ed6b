#include "service/socket_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "service/scripted_sockets.h"
#include "support/bytes.h"
#include "support/captured_output.h"
#include "support/logged_lines.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

TEST(SocketTransport, OneReceiveTakesAnAnswerUpToItsRoom) {
  ScriptedSockets sockets;
  SocketTransport transport(sockets);
  const LoggedLines errors;
  std::string answer = "left over";
  ASSERT_TRUE(transport.CreateSocket());
  const std::string sent = std::string(15'360, 'a') + "the rest";
  sockets.Answer(sent);
  EXPECT_EQ(transport.ReceiveData(answer), 15'360);
  EXPECT_EQ(answer, sent.substr(0, 15'360));
  EXPECT_EQ(transport.ReceiveData(answer), 8);
  EXPECT_EQ(answer, "the rest");
  sockets.Answer("");  // the end of the connection
  for (int silence = 0; silence < 2; ++silence) {
    EXPECT_EQ(transport.ReceiveData(answer), -1);
    EXPECT_EQ(answer, "");
  }
  EXPECT_THAT(errors.Get(), ElementsAre("socket read fail2(-1)", "socket read fail2(-1)"));
}

TEST(SocketTransport, WaitsOneSecondForAConnectionUnderWay) {
  const std::pair<ScriptedSockets::Server, bool> rows[] = {{{false, 1, 0}, true},
                                                           {{false, 1, 111}, false},
                                                           {{false, 0, 0}, false},
                                                           {{false, -1, 0}, false}};
  for (const auto& [server, connects] : rows) {
    const LoggedLines errors;
    ScriptedSockets sockets;
    sockets.servers[7333] = server;
    SocketTransport transport(sockets);
    EXPECT_TRUE(transport.CreateSocket());
    CapturedOutput output;
    EXPECT_EQ(transport.ConnectServer([] { return false; }), connects);
    EXPECT_THAT(output.Take(),
                StartsWith(Text(connects ? "C1ACBDD3B3C9B9A6" : "C1ACBDD3CAA7B0DC")));
    EXPECT_EQ(errors.Get().size(), connects ? 0U : 1U);
    auto calls = sockets.Calls();
    const auto waits = std::count(calls.begin(), calls.end(), "wait 11 50");
    EXPECT_EQ(waits, server.writable == 0 ? 20 : 1);
    std::erase(calls, "wait 11 50");
    calls.resize(5);  // what follows is the close
    EXPECT_THAT(calls, ElementsAre("start", "create 11", "nonblocking 11",
                                   "connect 11 127.0.0.1:7333", "blocking 11"));
  }
}

TEST(SocketTransport, ClosesAHandleOnce) {
  ScriptedSockets sockets;
  sockets.servers[80] = {false, 1, 111};
  {
    SocketTransport transport(sockets);
    transport.CloseSocket();  // nothing is open yet
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetServer("10.0.0.1", 80);
    EXPECT_FALSE(transport.ConnectServer([] { return false; }));
    // The number may belong to somebody else by now.
    transport.Shutdown();
    transport.CloseSocket();
    ASSERT_TRUE(transport.CreateSocket());
    transport.CloseSocket();
    transport.CloseSocket();
  }
  std::vector<std::string> closes = sockets.Calls();
  std::erase_if(closes, [](const std::string& call) {
    return !call.starts_with("close") && !call.starts_with("shutdown") && call != "stop";
  });
  EXPECT_THAT(closes, ElementsAre("close 11", "close 12", "stop"));
}

TEST(SocketTransport, TakesWhatASingleSendTook) {
  ScriptedSockets sockets;
  SocketTransport transport(sockets);
  ASSERT_TRUE(transport.CreateSocket());
  const LoggedLines errors;
  sockets.sendResult = 3;
  EXPECT_EQ(transport.SendData("message", 7), 3);
  sockets.sendResult = -7;
  EXPECT_EQ(transport.SendData("message", 7), -1);
  EXPECT_EQ(sockets.Sent().size(), 2U);
  EXPECT_THAT(errors.Get(), ElementsAre("socket send fail2(-1)"));
}

TEST(SocketTransport, AsksTheSystemForSocketsUntilItGivesThem) {
  using Start = platform::SocketApi::Start;
  ScriptedSockets sockets;
  const LoggedLines errors;
  {
    SocketTransport transport(sockets);
    sockets.start = Start::failed;
    EXPECT_FALSE(transport.CreateSocket());
    sockets.start = Start::wrong_version;
    EXPECT_FALSE(transport.CreateSocket());
    sockets.start = Start::ok;
    sockets.creates = false;
    EXPECT_FALSE(transport.CreateSocket());
    transport.CloseSocket();
    sockets.creates = true;
    EXPECT_TRUE(transport.CreateSocket());
  }
  EXPECT_THAT(errors.Get(),
              ElementsAre("winsock init fail", "winsock version fail", "socket creat fail"));
  EXPECT_THAT(sockets.Calls(),
              ElementsAre("start", "start", "start", "create 11", "close 11", "stop"));
}

}  // namespace
}  // namespace idcardreader
