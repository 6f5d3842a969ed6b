#include "platform/socket.h"

#include <asio.hpp>

// Behind asio, which wants to bring in the headers of the system itself.
#include <gtest/gtest.h>

#include <atomic>

#include "platform/clock.h"

#ifndef _WIN32
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#endif

namespace idcardreader::platform {
namespace {

using namespace std::string_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The other end is made of another library, so that a mistake in the sockets under test cannot
// cancel itself.
class SocketTest : public testing::Test {
 protected:
  SocketTest() { EXPECT_EQ(api.StartSockets(), SocketApi::Start::ok); }
  void TearDown() override {
    for (const SocketHandle handle : created) api.Close(handle);
    api.StopSockets();
  }

  SocketHandle Create() {
    created.push_back(api.CreateTcpSocket());
    EXPECT_NE(created.back(), kInvalidSocket);
    return created.back();
  }

  // The way the service connection does it.
  bool Connects(SocketHandle handle, const char* address = "127.0.0.1") {
    EXPECT_TRUE(api.SetNonBlocking(handle, true));
    const bool connected = api.Connect(handle, address, port) ||
                           (api.WaitWritable(handle, 1000) == 1 && api.PendingError(handle) == 0);
    EXPECT_TRUE(api.SetNonBlocking(handle, false));
    return connected;
  }

  SocketHandle Connected() {
    const SocketHandle handle = Create();
    EXPECT_TRUE(Connects(handle));
    acceptor.accept(peer);
    return handle;
  }

  SocketApi& api = SystemSockets();
  asio::io_context context;
  asio::ip::tcp::acceptor acceptor{context, {asio::ip::address_v4::loopback(), 0}};
  asio::ip::tcp::socket peer{context};
  const std::uint16_t port = acceptor.local_endpoint().port();
  std::vector<SocketHandle> created;
  std::vector<char> block = std::vector<char>(20'000'000, 'x');  // more than a system keeps
};

TEST_F(SocketTest, NothingButAConnectionIsTakenForOne) {
  for (const char* address : {"", "localhost", "no address"}) {
    EXPECT_FALSE(api.Connect(Create(), address, port)) << address;
  }
  // Refused at once: nothing is pending then, and nothing hinders writing.
  EXPECT_FALSE(Connects(Create(), "255.255.255.255"));
  acceptor.close();
  EXPECT_FALSE(Connects(Create()));
}

TEST_F(SocketTest, WithoutLingeringACloseGivesUpWhatThePeerHasNotTaken) {
  const SocketHandle handle = Connected();
  api.SetDontLingerOff(handle);
  api.SetTimeouts(handle, 50);
  while (api.Send(handle, block.data(), block.size()) > 0) {
  }
  const auto start = steady_clock::now();
  created.pop_back();
  api.Close(handle);
  EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
  asio::error_code end;
  asio::read(peer, asio::buffer(block), end);
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
  asio::write(peer, asio::buffer("here"s));
  EXPECT_EQ(api.Receive(handle, block.data(), block.size()), 4);
}

#ifndef _WIN32

// A host may interrupt its process every few milliseconds, by a handler that does not restart
// system calls.
TEST_F(SocketTest, SignalsNeitherShortenNorStretchAWait) {
  static std::atomic<int> signals{0};
  struct sigaction action {};
  action.sa_handler = [](int) { ++signals; };
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often{{0, 5000}, {0, 5000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  auto start = steady_clock::now();
  SystemClock().Sleep(100);
  EXPECT_GE(steady_clock::now() - start, milliseconds(99));

  const SocketHandle handle = Connected();
  api.SetTimeouts(handle, 150);
  start = steady_clock::now();
  EXPECT_LT(api.Receive(handle, block.data(), block.size()), 0);
  EXPECT_GE(steady_clock::now() - start, milliseconds(140));
  const int sent = api.Send(handle, block.data(), block.size());
  EXPECT_GT(sent, 0);
  EXPECT_LT(sent, static_cast<int>(block.size()));

  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, SIG_DFL);
  EXPECT_GT(signals, 0);
}

#endif

TEST(HostNameOrAddress, AsksNobodyForNamesThatCannotExist) {
  for (const auto& [name, address] : {std::pair{"localhost"s, "127.0.0.1"s},
                                      {"192.0.2.7"s, "192.0.2.7"s},
                                      {"decode-1.invalid"s, ""s},
                                      {"a.b.INVALID"s, ""s},
                                      {"x.invalid."s, ""s},
                                      {"invalid"s, ""s},
                                      {""s, ""s},
                                      {"localhost\0.example"s, ""s}}) {
    EXPECT_EQ(SystemSockets().ResolveHostName(name), address);
    EXPECT_EQ(IsReservedHostName(name), address.empty()) << name;
  }
  for (const char* name : {"invalid.example", "xinvalid", "decode.example"}) {
    EXPECT_FALSE(IsReservedHostName(name)) << name;
  }
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
