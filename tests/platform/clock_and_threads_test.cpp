#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <stdexcept>

#include "platform/clock.h"
#include "platform/threads.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#endif

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

TEST(SystemClock, SleepsNeitherShorterThanAskedNorByTheTickOfTheSystem) {
  const auto begin = steady_clock::now();
  const std::uint32_t tick = SystemClock().TickCount();
  auto best = steady_clock::duration::max();
  for (int i = 0; i < 10 || (i < 100 && best > milliseconds(7)); ++i) {
    const auto start = steady_clock::now();
    SystemClock().Sleep(5);
    best = std::min(best, steady_clock::now() - start);
  }
  EXPECT_GE(best, milliseconds(4));
  // A busy machine may delay some of them; by the tick all would take 15.6 ms.
  EXPECT_LE(best, milliseconds(7));
  const milliseconds ticks(SystemClock().TickCount() - tick);
  EXPECT_LE(std::chrono::abs(steady_clock::now() - begin - ticks), milliseconds(20));
}

TEST(SystemClock, TellsTheLocalTime) {
  const auto before = system_clock::now();
  const LocalTime now = SystemClock().Now();
  std::tm parts{now.second, now.minute, now.hour, now.day, now.month - 1, now.year - 1900};
  parts.tm_isdst = -1;
  const auto told = system_clock::from_time_t(std::mktime(&parts)) + milliseconds(now.millisecond);
  // The coarser clocks tick every 16 ms.
  EXPECT_GE(told + milliseconds(20), before);
  EXPECT_LE(told, system_clock::now() + milliseconds(20));
}

// A host may have handlers and timers of its own, which must not run on the library's threads.
TEST(CSThread, TakesNoSignalsButItsFaultsAndAnExceptionEndsItAlone) {
  CSThread thread;
#ifdef _WIN32
  ASSERT_TRUE(thread.Start([] { throw std::runtime_error("nobody catches this"); }));
  thread.Join();
#else
  sigset_t before, inside, after;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  ASSERT_TRUE(thread.Start([&] {
    pthread_sigmask(SIG_BLOCK, nullptr, &inside);
    throw std::runtime_error("nobody catches this");
  }));
  thread.Join();
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  for (const int number : {SIGTERM, SIGINT, SIGALRM, SIGUSR1, SIGCHLD, SIGPIPE}) {
    EXPECT_EQ(sigismember(&inside, number), 1) << number;
    EXPECT_EQ(sigismember(&after, number), sigismember(&before, number)) << number;
  }
  EXPECT_EQ(sigismember(&inside, SIGSEGV), 0);
#endif
  EXPECT_FALSE(thread.Running());
}

// Whether a wait goes on until another thread sets the event: one that does not finds that thread
// still asleep.
bool WaitsForANewSignal(Event& event) {
  std::atomic<bool> set{false};
  CSThread setter;
  setter.Start([&] {
    SystemClock().Sleep(5);
    set = true;
    event.Set();
  });
  event.Wait();
  return set;
}

TEST(Event, KeepsOneSignalUntilAWaitOrAReset) {
  Event event;
  event.Set();
  event.Set();
  event.Wait();
  EXPECT_TRUE(WaitsForANewSignal(event)) << "the second Set added nothing";
  event.Set();
  event.Reset();
  EXPECT_TRUE(WaitsForANewSignal(event));
}

#ifdef _WIN32

TEST(NamedEvent, IsShownToOthersWhoCannotTakeItsSignals) {
  constexpr char kName[] = "idcardreader-shown-event-test";
  Event first(kName);
  Event second(kName);  // the name is taken: it shows nothing
  const HANDLE shown = OpenEventA(EVENT_ALL_ACCESS, FALSE, kName);
  const auto isSignalled = [shown] { return WaitForSingleObject(shown, 0) == WAIT_OBJECT_0; };
  second.Set();
  EXPECT_FALSE(isSignalled());
  first.Set();
  EXPECT_TRUE(isSignalled());
  first.Wait();  // its signal is still there
  first.Set();
  first.Reset();
  EXPECT_FALSE(isSignalled());
  SetEvent(shown);
  EXPECT_TRUE(WaitsForANewSignal(first));
  CloseHandle(shown);
  Event refused("no\\such\\namespace");
  EXPECT_TRUE(WaitsForANewSignal(refused));
}

#endif

}  // namespace
}  // namespace idcardreader::platform
