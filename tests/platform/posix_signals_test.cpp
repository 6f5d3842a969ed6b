// The signals of POSIX systems: a host may have handlers and timers of its own, and they must
// neither run on the library's threads nor spoil its calls.
#ifndef _WIN32

#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/loopback_peer.h"
#include "platform/socket.h"
#include "platform/threads.h"
#include "support/temporary_folder.h"

// Behind asio, which wants to bring in the headers of the system itself.
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<int> signalsTaken{0};

// Interrupts the process every few milliseconds, by a handler that does not restart system calls.
TEST(PosixSignals, NeitherShortenNorStretchAWait) {
  struct sigaction before {};
  struct sigaction action {};
  action.sa_handler = [](int) { ++signalsTaken; };
  sigaction(SIGALRM, &action, &before);
  const auto setInterval = [](suseconds_t microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  };
  setInterval(5000);
  auto start = steady_clock::now();
  SystemClock().Sleep(100);
  EXPECT_GE(steady_clock::now() - start, milliseconds(99));

  SocketApi& api = SystemSockets();
  LoopbackPeer peer;
  const SocketHandle handle = api.CreateTcpSocket();
  api.Connect(handle, "127.0.0.1", peer.Port());
  ASSERT_EQ(api.WaitWritable(handle, 10'000), 1);
  peer.Accept();
  api.SetTimeouts(handle, 150);
  std::vector<char> buffer(20'000'000, 'x');
  start = steady_clock::now();
  EXPECT_LT(api.Receive(handle, buffer.data(), buffer.size()), 0);
  EXPECT_GE(steady_clock::now() - start, milliseconds(140));
  const int sent = api.Send(handle, buffer.data(), buffer.size());
  EXPECT_GT(sent, 0);
  EXPECT_LT(sent, static_cast<int>(buffer.size()));
  api.Close(handle);

  setInterval(0);
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_GT(signalsTaken, 0);
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

// Its signal ends a process that does not handle it, and so the tests.
TEST(PosixFile, AFileAtItsLargestSizeRaisesNoSignal) {
  const TemporaryFolder folder;
  const File file = OpenFile(folder.path / "file", "at");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limited{4, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limited);
  EXPECT_FALSE(WriteToFile(file, "too long"));
  EXPECT_FALSE(WriteToFile(file, "once more"));
  setrlimit(RLIMIT_FSIZE, &before);
}

TEST(PosixFile, ASignalThatWaitsForTheHostGoesOnWaiting) {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &pipe, &before);
  pthread_kill(pthread_self(), SIGPIPE);
  EXPECT_FALSE(WriteToFile(nullptr, ""));
  constexpr timespec kAtOnce{};
  EXPECT_EQ(sigtimedwait(&pipe, nullptr, &kAtOnce), SIGPIPE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
}  // namespace idcardreader::platform

#endif
