#include "service/socket_transport.h"

#include "platform/loopback_peer.h"

// Behind asio, which wants to bring in the headers of the system itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "service/scripted_sockets.h"
#include "support/bytes.h"
#include "support/logged_lines.h"

namespace idcardreader {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::StartsWith;

// On the sockets of the system, with a peer of another make.
class LoopbackTransport : public testing::Test {
 protected:
  void Connect(std::uint32_t timeoutMs) {
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetSocketOptions(timeoutMs);
    transport.SetServer("127.0.0.1", peer.Port());
    ASSERT_TRUE(transport.ConnectServer());
    peer.Accept();
  }

  platform::LoopbackPeer peer;
  SocketTransport transport{platform::SystemSockets()};
  LoggedLines errors;
  std::string answer = "left over";
};

TEST_F(LoopbackTransport, OneSendIsOneMessageAndOneReceiveOneAnswer) {
  Connect(20'000);
  EXPECT_EQ(transport.SendData("question", 8), 8);
  EXPECT_EQ(peer.Receive(8), "question");
  peer.Send("answer");
  EXPECT_EQ(transport.ReceiveData(answer), 6);
  EXPECT_EQ(answer, "answer");
  peer.Close();
  EXPECT_EQ(transport.ReceiveData(answer), -1);
  EXPECT_EQ(answer, "");
  EXPECT_THAT(errors.Get(), ElementsAre("socket read fail2(-1)"));
}

TEST_F(LoopbackTransport, AServerThatNeverAnswersRunsIntoTheTimeout) {
  Connect(100);
  const auto start = steady_clock::now();
  EXPECT_EQ(transport.ReceiveData(answer), -1);
  EXPECT_GE(steady_clock::now() - start, milliseconds(80));
  EXPECT_LT(steady_clock::now() - start, milliseconds(5'000));
  EXPECT_THAT(errors.Get(), ElementsAre("socket read fail2(-1)"));
}

TEST_F(LoopbackTransport, AnAnswerOf20000BytesTakesMoreThanOneReceive) {
  Connect(20'000);
  std::string sent;
  for (int index = 0; index < 20'000; ++index) sent.push_back(static_cast<char>(index * 7 % 251));
  peer.Send(sent);
  std::string received;
  while (received.size() < sent.size()) {
    const int count = transport.ReceiveData(answer);
    ASSERT_GT(count, 0);
    ASSERT_LE(count, 15'360);
    ASSERT_EQ(answer.size(), static_cast<std::size_t>(count));
    received += answer;
  }
  EXPECT_EQ(received, sent);
}

TEST_F(LoopbackTransport, ShutdownEndsAReceiveOfAnotherThread) {
  Connect(60'000);
  std::thread stopper([this] { transport.Shutdown(); });
  EXPECT_EQ(transport.ReceiveData(answer), -1);
  stopper.join();
}

TEST_F(LoopbackTransport, ConnectsToNobodyWithinASecond) {
  const std::uint16_t closedPort = peer.Port();
  peer.StopListening();
  const auto expectNobody = [this](const char* address, std::uint16_t port) {
    const LoggedLines logged;
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetServer(address, port);
    testing::internal::CaptureStdout();
    const auto start = steady_clock::now();
    EXPECT_FALSE(transport.ConnectServer()) << address << ":" << port;
    EXPECT_LT(steady_clock::now() - start, milliseconds(3'000));
    EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith(Text("C1ACBDD3CAA7B0DC")));
    EXPECT_THAT(logged.Get(), ElementsAre("socket connect fail"));
    transport.CloseSocket();
  };
  expectNobody("127.0.0.1", closedPort);
  expectNobody("127.0.0.1", 0);
  expectNobody("255.255.255.255", 9);
  expectNobody("no address", 9);
}

TEST(SocketTransport, ConnectsToThisMachineUntilItIsToldWhere) {
  ScriptedSockets sockets;
  {
    SocketTransport transport(sockets);
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetSocketOptions(1234);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(transport.ConnectServer());
    EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith(Text("C1ACBDD3B3C9B9A6")));
  }
  EXPECT_THAT(
      sockets.Calls(),
      ElementsAre("start", "create 11", "timeouts 11 1234", "dontlinger 11", "nonblocking 11",
                  "connect 11 127.0.0.1:7333", "blocking 11", "close 11", "stop"));
}

TEST(SocketTransport, WaitsOneSecondForAConnectionUnderWay) {
  const auto connects = [](const ScriptedSockets::Server& server) {
    ScriptedSockets sockets;
    sockets.servers[7333] = server;
    SocketTransport transport(sockets);
    EXPECT_TRUE(transport.CreateSocket());
    const bool connected = transport.ConnectServer();
    EXPECT_EQ(sockets.Calls()[4], "wait 11 1000");
    EXPECT_EQ(sockets.Calls()[5], "blocking 11");
    return connected;
  };
  EXPECT_TRUE(connects({false, 1, 0}));
  EXPECT_FALSE(connects({false, 1, 111}));
  EXPECT_FALSE(connects({false, 0, 0}));
  EXPECT_FALSE(connects({false, -1, 0}));
}

TEST(SocketTransport, ClosesAHandleOnce) {
  ScriptedSockets sockets;
  sockets.servers[80] = {false, 1, 111};
  {
    SocketTransport transport(sockets);
    transport.CloseSocket();  // nothing is open yet
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetServer("10.0.0.1", 80);
    EXPECT_FALSE(transport.ConnectServer());
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
