#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/event.h"

namespace idcardreader::platform {
namespace {

TEST(CSThread, RunsFromStartUntilItsProcedureReturns) {
  CSThread thread;
  Event begun;
  Event end;
  EXPECT_FALSE(thread.Running());
  ASSERT_TRUE(thread.Start([&] {
    begun.Set();
    end.Wait();
  }));
  EXPECT_TRUE(thread.Running());
  begun.Wait();
  EXPECT_TRUE(thread.Running());
  end.Set();
  thread.Join();
  EXPECT_FALSE(thread.Running());
}

TEST(CSThread, StartsOnlyOnce) {
  CSThread thread;
  ASSERT_TRUE(thread.Start([] {}));
  EXPECT_FALSE(thread.Start([] {}));
  thread.Join();
  EXPECT_FALSE(thread.Start([] {}));
}

TEST(CSThread, JoinWithoutAThreadReturns) {
  CSThread thread;
  thread.Join();
  EXPECT_FALSE(thread.Running());
  EXPECT_FALSE(thread.IsCurrent());
}

TEST(CSThread, KnowsItselfAndDoesNotWaitForItself) {
  CSThread thread;
  std::atomic<bool> inside{false};
  ASSERT_TRUE(thread.Start([&] {
    inside = thread.IsCurrent();
    thread.Join();
  }));
  EXPECT_FALSE(thread.IsCurrent());
  thread.Join();
  EXPECT_TRUE(inside);
}

TEST(CSThread, AnExceptionEndsTheThreadOnly) {
  CSThread thread;
  ASSERT_TRUE(thread.Start([] { throw std::runtime_error("nobody catches this"); }));
  thread.Join();
  EXPECT_FALSE(thread.Running());
}

TEST(CSThread, SeveralThreadsMayJoinIt) {
  CSThread thread;
  Event end;
  bool ended = false;
  ASSERT_TRUE(thread.Start([&] {
    end.Wait();
    ended = true;
  }));
  std::thread first([&] { thread.Join(); });
  std::thread second([&] { thread.Join(); });
  end.Set();
  first.join();
  second.join();
  EXPECT_TRUE(ended);
}

TEST(CSThread, ItsDestructorJoins) {
  bool ended = false;
  {
    CSThread thread;
    ASSERT_TRUE(thread.Start([&] { ended = true; }));
  }
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace idcardreader::platform
