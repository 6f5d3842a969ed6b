#include "platform/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAtOnce(0);
constexpr milliseconds kPlenty(10'000);

struct Sequence {
  std::string name;
  std::string steps;  // S: Set, R: Reset, 1: a wait succeeds, 0: a wait fails
};

class EventWithoutWaiters : public testing::TestWithParam<Sequence> {};

TEST_P(EventWithoutWaiters, KeepsAtMostOneSignal) {
  Event event;
  int step = 0;
  for (const char action : GetParam().steps) {
    ++step;
    if (action == 'S') {
      event.Set();
    } else if (action == 'R') {
      event.Reset();
    } else {
      EXPECT_EQ(event.WaitFor(kAtOnce), action == '1') << "step " << step;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sequences, EventWithoutWaiters,
                         testing::Values(Sequence{"Initially", "00"}, Sequence{"Set", "S10"},
                                         Sequence{"SetTwice", "SS10"}, Sequence{"Reset", "SR0"},
                                         Sequence{"SetAfterReset", "SRS10"},
                                         Sequence{"TimedOutWaitsLeaveNoTrace", "000S10S10"}),
                         [](const auto& sequence) { return sequence.param.name; });

TEST(Event, WaitWithoutLimitReturnsForASignalGivenBefore) {
  Event event;
  event.Set();
  event.Wait();
  EXPECT_FALSE(event.WaitFor(kAtOnce));
}

TEST(Event, ATimedWaitLastsItsTime) {
  Event event;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(event.WaitFor(milliseconds(30)));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(25));
}

// From outside nobody can see that a thread has begun to wait; this is ample time for it.
void LetOthersBeginToWait() { SystemClock().Sleep(50); }

TEST(Event, ASetReachesTheWaiterAlthoughAResetFollowsAtOnce) {
  for (int round = 0; round < 5; ++round) {
    Event event;
    bool released = false;
    std::thread waiter([&] { released = event.WaitFor(kPlenty); });
    LetOthersBeginToWait();
    event.Set();
    event.Reset();
    waiter.join();
    EXPECT_TRUE(released) << "round " << round;
    EXPECT_FALSE(event.WaitFor(kAtOnce));
  }
}

TEST(Event, AWaiterCannotBeRobbedByALaterOne) {
  Event event;
  bool released = false;
  std::thread waiter([&] { released = event.WaitFor(kPlenty); });
  LetOthersBeginToWait();
  event.Set();
  EXPECT_FALSE(event.WaitFor(kAtOnce));
  waiter.join();
  EXPECT_TRUE(released);
}

TEST(Event, ASecondSetIsKeptAlthoughTheWaiterOfTheFirstStillSleeps) {
  Event event;
  bool released = false;
  std::thread waiter([&] { released = event.WaitFor(kPlenty); });
  LetOthersBeginToWait();
  event.Set();
  event.Set();
  waiter.join();
  EXPECT_TRUE(released);
  EXPECT_TRUE(event.WaitFor(kAtOnce));
  EXPECT_FALSE(event.WaitFor(kAtOnce));
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
  bool released = false;
  std::thread impatient([&] { event.WaitFor(milliseconds(1)); });
  impatient.join();
  std::thread waiter([&] { released = event.WaitFor(kPlenty); });
  event.Set();
  waiter.join();
  EXPECT_TRUE(released);
}

TEST(Event, TwoOfOneNameShareNothing) {
  Event first("idcardreader-event-test");
  Event second("idcardreader-event-test");
  first.Set();
  EXPECT_FALSE(second.WaitFor(kAtOnce));
  EXPECT_TRUE(first.WaitFor(kAtOnce));
  second.Set();
  EXPECT_FALSE(first.WaitFor(kAtOnce));
  EXPECT_TRUE(second.WaitFor(kAtOnce));
}

TEST(Event, ANameThatTheSystemRefusesStillGivesAnEvent) {
  Event event("no\\such\\namespace");
  event.Set();
  EXPECT_TRUE(event.WaitFor(kAtOnce));
}

}  // namespace
}  // namespace idcardreader::platform
