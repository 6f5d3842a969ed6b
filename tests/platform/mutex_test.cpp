#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;

template <typename Procedure>
std::vector<std::thread> StartThreads(std::size_t count, Procedure procedure) {
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (std::size_t i = 0; i < count; ++i) threads.emplace_back(procedure);
  return threads;
}

TEST(CSMutex, LetsItsOwnerInAgainAndOthersAfterTheLastUnlock) {
  CSMutex mutex;
  int counter = 0;
  auto threads = StartThreads(4, [&] {
    for (int round = 0; round < 5000; ++round) {
      const std::lock_guard outer(mutex);
      { const std::lock_guard inner(mutex); }
      ++counter;
    }
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 20000);
}

TEST(Condition, WakesEveryWaiterAndGivesTheMutexBack) {
  CSMutex mutex;
  Condition changed;
  int ready = 0;
  bool go = false;
  int gone = 0;
  auto threads = StartThreads(3, [&] {
    const std::lock_guard hold(mutex);
    ++ready;
    changed.NotifyAll();
    while (!go) changed.Wait(mutex);
    ++gone;
  });
  {
    const std::lock_guard hold(mutex);
    // No limit is too long.
    while (ready < 3) EXPECT_TRUE(changed.WaitFor(mutex, milliseconds::max()));
    go = true;
    changed.NotifyAll();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(gone, 3);
}

TEST(Condition, ReportsThatTheTimeRanOut) {
  CSMutex mutex;
  Condition never;
  const std::lock_guard hold(mutex);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(never.WaitFor(mutex, milliseconds(30)));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(25));
  EXPECT_FALSE(never.WaitFor(mutex, milliseconds(-1)));
}

}  // namespace
}  // namespace idcardreader::platform
