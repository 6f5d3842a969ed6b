#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace idcardreader::platform {
namespace {

using std::chrono::milliseconds;

TEST(CSMutex, LetsItsOwnerInAgain) {
  CSMutex mutex;
  const std::lock_guard outer(mutex);
  const std::lock_guard inner(mutex);
}

TEST(CSMutex, KeepsOtherThreadsOutUntilTheLastUnlock) {
  CSMutex mutex;
  int counter = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5000; ++round) {
        const std::lock_guard outer(mutex);
        { const std::lock_guard inner(mutex); }
        ++counter;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 20000);
}

TEST(Condition, WakesEveryWaiterAndGivesTheMutexBack) {
  CSMutex mutex;
  Condition changed;
  int ready = 0;
  bool go = false;
  int gone = 0;
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      const std::lock_guard hold(mutex);
      ++ready;
      changed.NotifyAll();
      while (!go) changed.Wait(mutex);
      ++gone;
    });
  }
  {
    const std::lock_guard hold(mutex);
    while (ready < 3) changed.Wait(mutex);
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

TEST(Condition, TakesAnyLimit) {
  CSMutex mutex;
  Condition changed;
  bool go = false;
  bool reached = false;
  std::unique_lock hold(mutex);
  std::thread other([&] {
    const std::lock_guard inner(mutex);
    go = true;
    changed.NotifyAll();
  });
  while (!go) reached = changed.WaitFor(mutex, milliseconds::max());
  EXPECT_TRUE(reached);
  hold.unlock();
  other.join();
}

}  // namespace
}  // namespace idcardreader::platform
