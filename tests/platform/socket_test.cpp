#include "platform/socket.h"

#include "platform/loopback_peer.h"

// Behind asio, which wants to bring in the headers of the system itself.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
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

  SocketApi& api = SystemSockets();
  LoopbackPeer peer;
  std::vector<SocketHandle> created;
};

TEST_F(SocketTest, NothingButAConnectionIsTakenForOne) {
  const std::uint16_t port = peer.Port();
  for (const char* address : {"", "localhost", "no address"}) {
    EXPECT_FALSE(api.Connect(Create(), address, port)) << address;
  }
  // Refused at once: nothing is pending then, and nothing hinders writing.
  EXPECT_FALSE(ConnectWithLimit(Create(), port, "255.255.255.255"));
  peer.StopListening();
  EXPECT_FALSE(ConnectWithLimit(Create(), port));
}

TEST_F(SocketTest, WithoutLingeringACloseGivesUpWhatThePeerHasNotTaken) {
  const SocketHandle handle = Connected();
  api.SetDontLingerOff(handle);
  api.SetTimeouts(handle, 50);
  const std::string block(1'000'000, 'x');
  while (api.Send(handle, block.data(), block.size()) > 0) {
  }
  const auto start = steady_clock::now();
  created.pop_back();
  api.Close(handle);
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
  peer.Send("here");
  char received[4];
  EXPECT_EQ(api.Receive(handle, received, sizeof received), 4);
}

bool IsInherited(SocketHandle handle) {
#ifdef _WIN32
  DWORD flags = HANDLE_FLAG_INHERIT;
  GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags);
  return (flags & HANDLE_FLAG_INHERIT) != 0;
#else
  return (fcntl(static_cast<int>(handle), F_GETFD) & FD_CLOEXEC) == 0;
#endif
}

TEST_F(SocketTest, IsNoChildsAndNoFreeStandardStream) {
  EXPECT_FALSE(IsInherited(Create()));
#ifndef _WIN32  // where the streams have numbers of this kind
  const int saved = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const SocketHandle handle = Create();
  dup2(saved, STDIN_FILENO);
  close(saved);
  EXPECT_GT(handle, STDERR_FILENO);
  EXPECT_FALSE(IsInherited(handle));
#endif
}

TEST(ResolveHostName, AsksNobodyForNamesThatCannotExist) {
  EXPECT_EQ(SystemSockets().ResolveHostName("localhost"), "127.0.0.1");
  EXPECT_EQ(SystemSockets().ResolveHostName("192.0.2.7"), "192.0.2.7");
  for (const std::string& name : {"decode-1.invalid"s, "a.b.INVALID"s, "x.invalid."s, "invalid"s,
                                  ""s, "localhost\0.example"s}) {
    EXPECT_TRUE(IsReservedHostName(name)) << name;
    EXPECT_EQ(SystemSockets().ResolveHostName(name), "") << name;
  }
  for (const char* name : {"invalid.example", "xinvalid", "decode.example"}) {
    EXPECT_FALSE(IsReservedHostName(name)) << name;
  }
}

TEST(IsDottedAddress, TakesFourNumbersUpTo255) {
  for (const char* text : {"0.0.0.0", "255.255.255.255", "10.200.30.4"}) {
    EXPECT_TRUE(IsDottedAddress(text)) << text;
  }
  for (const std::string& text :
       {""s, "1.2.3"s, "1.2.3.4.5"s, "1.2.3."s, "1..2.3"s, "256.1.1.1"s, "1.2.3.1000"s, "1.2.3.4 "s,
        "1.2.3.4\0"s, "+1.2.3.4"s, "010.2.3.4"s}) {
    EXPECT_FALSE(IsDottedAddress(text)) << text;
  }
}

}  // namespace
}  // namespace idcardreader::platform
