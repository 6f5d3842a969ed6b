#include "service/socket_transport.h"

#include "platform/loopback_peer.h"

// Behind asio, which wants to bring in the headers of the system itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "service/scripted_sockets.h"
#include "support/bytes.h"
#include "support/logged_lines.h"

namespace idcardreader {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;

std::string Printed(const std::string& line) {
  std::string printed = testing::internal::GetCapturedStdout();
  std::erase(printed, '\r');
  return printed == line + "\n" ? "as expected" : printed;
}

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
};

TEST_F(LoopbackTransport, OneSendIsOneMessageAndOneReceiveOneAnswer) {
  Connect(20'000);
  EXPECT_EQ(transport.SendData("question", 8), 8);
  EXPECT_EQ(peer.Receive(8), "question");
  peer.Send("answer");
  std::string answer = "left over";
  EXPECT_EQ(transport.ReceiveData(answer), 6);
  EXPECT_EQ(answer, "answer");
  EXPECT_THAT(errors.Get(), ElementsAre());
}

TEST_F(LoopbackTransport, AServerThatNeverAnswersRunsIntoTheTimeout) {
  Connect(100);
  const auto start = steady_clock::now();
  std::string answer;
  EXPECT_EQ(transport.ReceiveData(answer), -1);
  EXPECT_GE(steady_clock::now() - start, milliseconds(80));
  EXPECT_LT(steady_clock::now() - start, milliseconds(5'000));
  EXPECT_THAT(errors.Get(), ElementsAre("socket read fail2(-1)"));
}

TEST_F(LoopbackTransport, AServerThatClosesIsAFailure) {
  Connect(20'000);
  peer.Close();
  std::string answer = "left over";
  EXPECT_EQ(transport.ReceiveData(answer), -1);
  EXPECT_EQ(answer, "");
  EXPECT_THAT(errors.Get(), ElementsAre("socket read fail2(-1)"));
}

TEST_F(LoopbackTransport, AnAnswerOf20000BytesTakesMoreThanOneReceive) {
  Connect(20'000);
  std::string sent(20'000, ' ');
  for (std::size_t index = 0; index < sent.size(); ++index) {
    sent[index] = static_cast<char>(index * 7 % 251);
  }
  peer.Send(sent);
  std::string received;
  while (received.size() < sent.size()) {
    std::string part;
    const int count = transport.ReceiveData(part);
    ASSERT_GT(count, 0);
    ASSERT_LE(count, 15'360);
    ASSERT_EQ(part.size(), static_cast<std::size_t>(count));
    received += part;
  }
  EXPECT_EQ(received, sent);
}

TEST_F(LoopbackTransport, ShutdownEndsAReceiveOfAnotherThread) {
  Connect(60'000);
  std::thread stopper([this] { transport.Shutdown(); });
  std::string answer;
  EXPECT_EQ(transport.ReceiveData(answer), -1);
  stopper.join();
}

TEST_F(LoopbackTransport, ConnectsToNobodyWithinASecond) {
  const std::uint16_t closedPort = peer.Port();
  peer.StopListening();
  struct {
    const char* address;
    std::uint16_t port;
  } const kNobody[] = {{"127.0.0.1", closedPort},
                       {"127.0.0.1", 0},
                       {"255.255.255.255", 9},
                       {"no address", 9},
                       {"", 9}};
  for (const auto& [address, port] : kNobody) {
    const LoggedLines logged;
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetServer(address, port);
    testing::internal::CaptureStdout();
    const auto start = steady_clock::now();
    EXPECT_FALSE(transport.ConnectServer()) << address << ":" << port;
    EXPECT_LT(steady_clock::now() - start, milliseconds(3'000));
    EXPECT_EQ(Printed(Text("C1ACBDD3CAA7B0DC")), "as expected");
    EXPECT_THAT(logged.Get(), ElementsAre("socket connect fail"));
    transport.CloseSocket();
  }
}

TEST(SocketTransport, ConnectsToThisMachineUntilItIsToldWhere) {
  ScriptedSockets sockets;
  {
    SocketTransport transport(sockets);
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetSocketOptions(1234);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(transport.ConnectServer());
    EXPECT_EQ(Printed(Text("C1ACBDD3B3C9B9A6")), "as expected");
  }
  EXPECT_THAT(
      sockets.Calls(),
      ElementsAre("start", "create 11", "timeouts 11 1234", "dontlinger 11", "nonblocking 11",
                  "connect 11 127.0.0.1:7333", "blocking 11", "close 11", "stop"));
}

struct ConnectCase {
  ScriptedSockets::Server server;
  bool connected;
};

TEST(SocketTransport, WaitsOneSecondForAConnectionUnderWay) {
  const ConnectCase kCases[] = {{{false, 1, 0}, true},
                                {{false, 1, 111}, false},
                                {{false, 0, 0}, false},
                                {{false, -1, 0}, false}};
  for (const ConnectCase& row : kCases) {
    ScriptedSockets sockets;
    sockets.servers[80] = row.server;
    SocketTransport transport(sockets);
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetServer("10.0.0.1", 80);
    EXPECT_EQ(transport.ConnectServer(), row.connected);
    const auto calls = sockets.Calls();
    ASSERT_GE(calls.size(), 6U);
    EXPECT_EQ(calls[4], "wait 11 1000");
    EXPECT_EQ(calls[5], "blocking 11");
    EXPECT_EQ(calls.back() == "close 11", !row.connected);
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
    EXPECT_FALSE(transport.ConnectServer());
    // The number may belong to somebody else by now.
    transport.Shutdown();
    transport.CloseSocket();
    transport.CloseSocket();
    ASSERT_TRUE(transport.CreateSocket());
    transport.SetServer("10.0.0.1", 81);
    EXPECT_TRUE(transport.ConnectServer());
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
  for (const auto& [result, expected] : {std::pair{3, 3}, std::pair{-1, -1}, std::pair{-7, -1}}) {
    sockets.sendResult = result;
    EXPECT_EQ(transport.SendData("message", 7), expected);
  }
  EXPECT_EQ(transport.SendData("", 0), -1);
  EXPECT_EQ(sockets.Sent().size(), 4U);
  EXPECT_THAT(errors.Get(), ElementsAre("socket send fail2(-1)", "socket send fail2(-1)",
                                        "socket send fail2(-1)"));
}

struct StartCase {
  platform::SocketApi::Start start;
  bool creates;
  const char* logged;
};

TEST(SocketTransport, AsksTheSystemForSocketsUntilItGivesThem) {
  using Start = platform::SocketApi::Start;
  ScriptedSockets sockets;
  {
    SocketTransport transport(sockets);
    for (const StartCase& row :
         {StartCase{Start::failed, true, "winsock init fail"},
          StartCase{Start::wrong_version, true, "winsock version fail"},
          StartCase{Start::ok, false, "socket creat fail"}, StartCase{Start::ok, true, nullptr}}) {
      sockets.start = row.start;
      sockets.creates = row.creates;
      const LoggedLines errors;
      EXPECT_EQ(transport.CreateSocket(), row.logged == nullptr);
      EXPECT_EQ(errors.Get(), row.logged == nullptr ? std::vector<std::string>{}
                                                    : std::vector<std::string>{row.logged});
      transport.CloseSocket();
    }
  }
  EXPECT_THAT(sockets.Calls(),
              ElementsAre("start", "start", "start", "create 11", "close 11", "stop"));
}

}  // namespace
}  // namespace idcardreader
