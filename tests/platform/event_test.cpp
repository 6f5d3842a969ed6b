#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAtOnce(0);
constexpr milliseconds kPlenty(10'000);

// S: Set, R: Reset, 1: a wait succeeds, 0: a wait fails, W: a wait without limit returns.
void Play(Event& event, const std::string& steps) {
  for (const char step : steps) {
    if (step == 'S') {
      event.Set();
    } else if (step == 'R') {
      event.Reset();
    } else if (step == 'W') {
      event.Wait();
    } else {
      EXPECT_EQ(event.WaitFor(kAtOnce), step == '1') << steps;
    }
  }
}

TEST(Event, KeepsAtMostOneSignal) {
  for (const char* steps : {"00", "S10", "SS10", "SW0", "SR0", "SRS10", "000S10S10"}) {
    Event event;
    Play(event, steps);
  }
}

TEST(Event, ATimedWaitLastsItsTime) {
  Event event;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(event.WaitFor(milliseconds(30)));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(25));
}

// From outside nobody can see that a thread has begun to wait; this is ample time for it.
void LetOthersBeginToWait() { SystemClock().Sleep(50); }

TEST(Event, ASetReachesItsWaiterWhateverFollowsAtOnce) {
  struct {
    const char* steps;
    const char* left;
  } const rows[] = {{"SR", "0"}, {"S0", "0"}, {"SS", "10"}};
  for (const auto& [steps, left] : rows) {
    for (int round = 0; round < 3; ++round) {
      Event event;
      bool released = false;
      std::thread waiter([&] { released = event.WaitFor(kPlenty); });
      LetOthersBeginToWait();
      Play(event, steps);
      waiter.join();
      EXPECT_TRUE(released) << steps;
      Play(event, left);
    }
  }
}

TEST(Event, EachSetReleasesOneWaiter) {
  Event event;
  Event left;
  std::atomic<int> released{0};
  std::vector<std::thread> waiters;
  waiters.reserve(3);
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      event.Wait();
      ++released;
      left.Set();
    });
  }
  LetOthersBeginToWait();
  for (int expected = 1; expected <= 3; ++expected) {
    event.Set();
    ASSERT_TRUE(left.WaitFor(kPlenty));
    EXPECT_EQ(released, expected);
    EXPECT_FALSE(left.WaitFor(milliseconds(20))) << "one Set released two";
  }
  for (std::thread& waiter : waiters) waiter.join();
}

TEST(Event, AWaiterThatGaveUpTakesNoSignalFromTheOthers) {
  Event event;
  std::thread([&] { event.WaitFor(milliseconds(1)); }).join();
  bool released = false;
  std::thread waiter([&] { released = event.WaitFor(kPlenty); });
  event.Set();
  waiter.join();
  EXPECT_TRUE(released);
}

TEST(Event, ANameIsSharedByNobodyAndMayBeRefused) {
  for (const char* name : {"idcardreader-event-test", "no\\such\\namespace"}) {
    Event first(name);
    Event second(name);
    first.Set();
    Play(second, "0S");
    Play(first, "10");
    Play(second, "10");
  }
}

#ifdef _WIN32
constexpr char kName[] = "idcardreader-shown-event-test";

struct CloseSystemHandle {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using SystemHandle = std::unique_ptr<void, CloseSystemHandle>;

bool IsSignalled(const SystemHandle& handle) {
  return WaitForSingleObject(handle.get(), 0) == WAIT_OBJECT_0;
}

TEST(NamedEvent, IsSeenByOthersWhoCannotTakeItsSignals) {
  Event event(kName);
  const SystemHandle other(OpenEventA(EVENT_ALL_ACCESS, FALSE, kName));
  ASSERT_NE(other, nullptr);
  event.Set();
  EXPECT_TRUE(IsSignalled(other));
  EXPECT_FALSE(IsSignalled(other));
  Play(event, "10S");
  event.Reset();
  EXPECT_FALSE(IsSignalled(other));
  SetEvent(other.get());
  Play(event, "0");
}

TEST(NamedEvent, ANameThatSomebodyHasAlreadyIsLeftToHim) {
  const SystemHandle other(CreateEventA(nullptr, FALSE, FALSE, kName));
  Event event(kName);
  event.Set();
  EXPECT_FALSE(IsSignalled(other));
  Play(event, "10S");
  ResetEvent(other.get());
  Play(event, "10");
}
#endif

}  // namespace
}  // namespace idcardreader::platform
