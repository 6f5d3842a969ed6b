#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/event.h"

namespace idcardreader::platform {
namespace {

TEST(CSThread, RunsOnceFromStartUntilItsProcedureReturns) {
  CSThread thread;
  Event begun;
  Event end;
  thread.Join();  // there is nothing to wait for
  EXPECT_FALSE(thread.Running());
  ASSERT_TRUE(thread.Start([&] {
    begun.Set();
    end.Wait();
  }));
  begun.Wait();
  EXPECT_TRUE(thread.Running());
  EXPECT_FALSE(thread.Start([] {}));
  end.Set();
  thread.Join();
  EXPECT_FALSE(thread.Running());
  EXPECT_FALSE(thread.Start([] {}));
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

TEST(CSThread, SeveralThreadsMayJoinItAndItsDestructorDoes) {
  Event end;
  bool ended = false;
  {
    CSThread thread;
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
  ended = false;
  {
    CSThread thread;
    ASSERT_TRUE(thread.Start([&] { ended = true; }));
  }
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace idcardreader::platform
