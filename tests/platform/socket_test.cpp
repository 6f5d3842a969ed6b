#include "platform/socket.h"

#include "platform/loopback_peer.h"

// Behind asio, which wants to bring in the headers of the system itself.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace idcardreader::platform {
namespace {

using namespace std::string_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A socket that is connected to a peer, the way the service connection does it.
class SocketTest : public testing::Test {
 public:
  SocketTest() { EXPECT_EQ(api.StartSockets(), SocketApi::Start::ok); }
  ~SocketTest() override {
    for (const SocketHandle handle : created) api.Close(handle);
    api.StopSockets();
  }

 protected:
  SocketHandle Create() {
    const SocketHandle handle = api.CreateTcpSocket();
    EXPECT_NE(handle, kInvalidSocket);
    EXPECT_NE(handle, 0);
    created.push_back(handle);
    return handle;
  }

  void CloseNow(SocketHandle handle) {
    std::erase(created, handle);
    api.Close(handle);
  }

  bool ConnectWithLimit(SocketHandle handle, std::uint16_t port,
                        const char* address = "127.0.0.1") {
    EXPECT_TRUE(api.SetNonBlocking(handle, true));
    const bool connected = api.Connect(handle, address, port) ||
                           (api.WaitWritable(handle, 1000) == 1 && api.PendingError(handle) == 0);
    EXPECT_TRUE(api.SetNonBlocking(handle, false));
    return connected;
  }

  SocketHandle Connected() {
    const SocketHandle handle = Create();
    EXPECT_TRUE(ConnectWithLimit(handle, peer.Port()));
    peer.Accept();
    return handle;
  }

  std::string ReceiveOnce(SocketHandle handle) {
    char buffer[256];
    const int count = api.Receive(handle, buffer, sizeof buffer);
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
  }

  SocketApi& api = SystemSockets();
  LoopbackPeer peer;
  std::vector<SocketHandle> created;
};

TEST_F(SocketTest, ABlockingConnectTellsTheResultItself) {
  const SocketHandle handle = Create();
  EXPECT_TRUE(api.Connect(handle, "127.0.0.1", peer.Port()));
  EXPECT_EQ(api.WaitWritable(handle, 1000), 1);
  EXPECT_EQ(api.PendingError(handle), 0);
}

TEST_F(SocketTest, NothingButAConnectionIsTakenForOne) {
  const std::uint16_t port = peer.Port();
  for (const char* address : {"", "localhost", "no address"}) {
    EXPECT_FALSE(api.Connect(Create(), address, port)) << address;
  }
  // Refused at once: nothing is pending then, and nothing hinders writing.
  EXPECT_FALSE(ConnectWithLimit(Create(), port, "255.255.255.255"));
  peer.StopListening();
  EXPECT_FALSE(ConnectWithLimit(Create(), port));
  EXPECT_FALSE(api.Connect(Create(), "127.0.0.1", port));
}

TEST_F(SocketTest, AReceiveEndsWithItsTimeOutItsRoomOrItsPeer) {
  const SocketHandle handle = Connected();
  api.SetTimeouts(handle, 120);
  char buffer[4] = {};
  const auto start = steady_clock::now();
  EXPECT_LT(api.Receive(handle, buffer, 3), 0);
  const auto taken = steady_clock::now() - start;
  EXPECT_GE(taken, milliseconds(100));
  EXPECT_LT(taken, milliseconds(5000));
  peer.Send("abcdef");
  EXPECT_EQ(api.Receive(handle, buffer, 3), 3);
  EXPECT_EQ(std::string(buffer), "abc");
  EXPECT_EQ(ReceiveOnce(handle), "def");
  peer.Close();
  EXPECT_EQ(api.Receive(handle, buffer, 3), 0);
}

TEST_F(SocketTest, SendingToAPeerThatIsGoneFailsAndEndsNothing) {
  const SocketHandle handle = Connected();
  peer.Close();
  const std::string block(1000, 'x');
  int sent = 1;
  for (int i = 0; i < 1000 && sent > 0; ++i) sent = api.Send(handle, block.data(), block.size());
  EXPECT_LT(sent, 0);
}

TEST_F(SocketTest, ASendTakesAllOfALongMessage) {
  const SocketHandle handle = Connected();
  const std::string message(4'000'000, 'm');
  std::string received;
  std::thread reader([&] { received = peer.Receive(message.size()); });
  EXPECT_EQ(api.Send(handle, message.data(), message.size()), static_cast<int>(message.size()));
  reader.join();
  EXPECT_EQ(received, message);
}

TEST_F(SocketTest, ShutdownEndsATransferOfAnotherThread) {
  SocketHandle handle = Connected();
  std::string second = "not yet";
  std::thread receiver([&] {
    if (ReceiveOnce(handle) == "1") api.Send(handle, "1", 1);
    second = ReceiveOnce(handle);
  });
  peer.Send("1");
  EXPECT_EQ(peer.Receive(1), "1");
  // The receiver is in its second receive now, or about to enter it; either has to end.
  api.Shutdown(handle);
  receiver.join();
  EXPECT_EQ(second, "");
  peer.Close();

  handle = Connected();
  const std::string tooMuch(1'000'000, 'x');
  std::thread sender([&] {
    while (api.Send(handle, tooMuch.data(), tooMuch.size()) > 0) {
    }
  });
  peer.Receive(1'000'000);  // it is under way
  api.Shutdown(handle);
  sender.join();
}

TEST_F(SocketTest, WithoutLingeringACloseGivesUpWhatThePeerHasNotTaken) {
  const SocketHandle handle = Connected();
  api.SetDontLingerOff(handle);
  api.SetTimeouts(handle, 50);
  const std::string block(1'000'000, 'x');
  while (api.Send(handle, block.data(), block.size()) > 0) {
  }
  const auto start = steady_clock::now();
  CloseNow(handle);
  EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
  asio::error_code end;
  peer.ReceiveToEnd(end);
#ifdef _WIN32
  EXPECT_TRUE(end);  // Wine ends the connection in order, Windows does not
#else
  EXPECT_EQ(end, asio::error::connection_reset);
#endif
}

TEST_F(SocketTest, ManyOpenHandlesAreNoHindrance) {
#ifndef _WIN32
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
  setrlimit(RLIMIT_NOFILE, &limit);
#endif
  while (created.size() < 1100) Create();
  const SocketHandle handle = Connected();
  peer.Send("still here");
  EXPECT_EQ(ReceiveOnce(handle), "still here");
}

TEST_F(SocketTest, AFreeStandardStreamIsNotTakenForASocket) {
#ifndef _WIN32
  constexpr SocketHandle kLastStream = STDERR_FILENO;
  const int saved = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const SocketHandle handle = Create();
  dup2(saved, STDIN_FILENO);
  close(saved);
#else
  constexpr SocketHandle kLastStream = 0;  // here the streams have no numbers of this kind
  const SocketHandle handle = Create();
#endif
  EXPECT_GT(handle, kLastStream);
}

TEST(ResolveHostName, YieldsTheFirstAddressAndAsksNobodyForNamesThatCannotExist) {
  EXPECT_EQ(SystemSockets().ResolveHostName("localhost"), "127.0.0.1");
  EXPECT_EQ(SystemSockets().ResolveHostName("192.0.2.7"), "192.0.2.7");
  const auto start = steady_clock::now();
  for (const std::string& name : {"decode-1.invalid"s, "a.b.INVALID"s, "x.invalid."s, "invalid"s,
                                  ""s, "localhost\0.example"s}) {
    EXPECT_EQ(SystemSockets().ResolveHostName(name), "") << name;
  }
  EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
}

TEST(IsDottedAddress, TakesFourNumbersUpTo255) {
  for (const char* text : {"0.0.0.0", "127.0.0.1", "255.255.255.255", "10.20.30.40"}) {
    EXPECT_TRUE(IsDottedAddress(text)) << text;
  }
  for (const std::string& text :
       {""s, "1.2.3"s, "1.2.3.4.5"s, "1.2.3."s, ".1.2.3"s, "1..2.3"s, "256.1.1.1"s, "1.2.3.1000"s,
        "1.2.3.4 "s, " 1.2.3.4"s, "1.2.3.4\0"s, "a.b.c.d"s, "1.2.3.4:80"s, "+1.2.3.4"s,
        "010.2.3.4"s, "4294967295"s, "99999999999999999999.1.1.1"s}) {
    EXPECT_FALSE(IsDottedAddress(text)) << text;
  }
}

}  // namespace
}  // namespace idcardreader::platform
