// The signals of POSIX systems: a host may have handlers and timers of its own, and they must
// neither run on the library's threads nor spoil its calls.
#ifndef _WIN32

#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/files.h"
#include "platform/loopback_peer.h"
#include "platform/socket.h"
#include "platform/thread.h"

// Behind asio, which wants to bring in the headers of the system itself.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <vector>

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<int> signalsTaken{0};

// Interrupts the process every few milliseconds, by a handler that does not restart system calls.
class SignalTest : public testing::Test {
 protected:
  void SetUp() override {
    signalsTaken = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ++signalsTaken; };
    sigaction(SIGALRM, &action, &before);
    SetInterval(5000);
  }
  void TearDown() override {
    SetInterval(0);
    sigaction(SIGALRM, &before, nullptr);
  }

  static void SetInterval(suseconds_t microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  struct sigaction before {};
};

TEST_F(SignalTest, AWaitLastsItsTime) {
  Event event;
  auto start = steady_clock::now();
  SystemClock().Sleep(100);
  EXPECT_GE(steady_clock::now() - start, milliseconds(99));
  start = steady_clock::now();
  EXPECT_FALSE(event.WaitFor(milliseconds(100)));
  EXPECT_GE(steady_clock::now() - start, milliseconds(99));
  EXPECT_GT(signalsTaken, 0);
}

TEST_F(SignalTest, ATransferKeepsToItsTimeOut) {
  SocketApi& api = SystemSockets();
  LoopbackPeer peer;
  const SocketHandle handle = api.CreateTcpSocket();
  ASSERT_TRUE(api.Connect(handle, "127.0.0.1", peer.Port()));
  peer.Accept();
  api.SetTimeouts(handle, 150);
  std::vector<char> buffer(20'000'000, 'x');
  auto start = steady_clock::now();
  EXPECT_LT(api.Receive(handle, buffer.data(), buffer.size()), 0);
  EXPECT_GE(steady_clock::now() - start, milliseconds(140));
  EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
  EXPECT_GT(signalsTaken, 0);
  start = steady_clock::now();
  const int sent = api.Send(handle, buffer.data(), buffer.size());
  EXPECT_GT(sent, 0);
  EXPECT_LT(sent, static_cast<int>(buffer.size()));
  EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
  api.Close(handle);
}

TEST(PosixThread, TakesNoSignalsButItsOwnFaults) {
  sigset_t callerBefore;
  pthread_sigmask(SIG_BLOCK, nullptr, &callerBefore);
  sigset_t inside;
  sigemptyset(&inside);
  CSThread thread;
  ASSERT_TRUE(thread.Start([&] { pthread_sigmask(SIG_BLOCK, nullptr, &inside); }));
  thread.Join();
  for (const int number : {SIGTERM, SIGINT, SIGALRM, SIGUSR1, SIGCHLD, SIGPIPE}) {
    EXPECT_EQ(sigismember(&inside, number), 1) << number;
  }
  EXPECT_EQ(sigismember(&inside, SIGSEGV), 0);
  sigset_t callerAfter;
  pthread_sigmask(SIG_BLOCK, nullptr, &callerAfter);
  EXPECT_EQ(sigismember(&callerAfter, SIGTERM), sigismember(&callerBefore, SIGTERM));
}

// Largest size of the files that this process writes; its signal ends a process that does not handle
// it, and so the tests.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }

 private:
  rlimit before{};
};

TEST(PosixFile, AFileAtItsLargestSizeRaisesNoSignal) {
  const std::filesystem::path path = ExecutableFolder() / "largest-size";
  {
    const File file = OpenFile(path, "at");
    const FileSizeLimit limit(4);
    EXPECT_FALSE(WriteToFile(file, "too long"));
    EXPECT_FALSE(WriteToFile(file, "once more"));
  }
  EXPECT_EQ(std::filesystem::file_size(path), 4u);
  std::filesystem::remove(path);
}

TEST(PosixFile, ASignalThatWaitsForTheHostGoesOnWaiting) {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &pipe, &before);
  pthread_kill(pthread_self(), SIGPIPE);
  EXPECT_FALSE(WriteToFile(OpenFile(ExecutableFolder() / "missing" / "file", "at"), ""));
  constexpr timespec kAtOnce{};
  EXPECT_EQ(sigtimedwait(&pipe, nullptr, &kAtOnce), SIGPIPE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
}  // namespace idcardreader::platform

#endif
