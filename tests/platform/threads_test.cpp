#include "platform/threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "platform/clock.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace idcardreader::platform {
namespace {

TEST(CSThread, AnExceptionEndsTheThreadOnly) {
  CSThread thread;
  ASSERT_TRUE(thread.Start([] { throw std::runtime_error("nobody catches this"); }));
  thread.Join();
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
  const bool waited = set;
  setter.Join();
  return waited;
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
  ASSERT_NE(shown, nullptr);
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
