#include "platform/clock.h"

#include <windows.h>

#include "platform/process_wide.h"
#include "platform/windows/handles.h"

namespace idcardreader::platform {

namespace {

// CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, which older headers lack.
constexpr DWORD kHighResolution = 0x00000002;
constexpr DWORD kTimerAccess = TIMER_MODIFY_STATE | SYNCHRONIZE;
constexpr LONGLONG kTimerUnitsPerMillisecond = 10'000;

// Plain Sleep wakes with the system's timer tick only, every 15.6 ms unless somebody speeds it up.
bool SleepPrecisely(std::uint32_t milliseconds) {
  const UniqueHandle timer(CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, kTimerAccess));
  if (!timer) return false;
  LARGE_INTEGER due;
  due.QuadPart = -static_cast<LONGLONG>(milliseconds) * kTimerUnitsPerMillisecond;
  return SetWaitableTimer(timer.Get(), &due, 0, nullptr, nullptr, FALSE) != 0 &&
         WaitForSingleObject(timer.Get(), INFINITE) == WAIT_OBJECT_0;
}

class WindowsClock : public Clock {
 public:
  std::uint32_t TickCount() override { return GetTickCount(); }

  LocalTime Now() override {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,         now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds};
  }

  void Sleep(std::uint32_t milliseconds) override {
    if (milliseconds == 0 || !SleepPrecisely(milliseconds)) ::Sleep(milliseconds);
  }
};

}  // namespace

Clock& SystemClock() {
  static ProcessWide<WindowsClock> clock;
  return *clock;
}

}  // namespace idcardreader::platform
