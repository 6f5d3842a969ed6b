#include "platform/clock.h"

#include <errno.h>
#include <time.h>

#include "platform/never_destroyed.h"
#include "platform/posix/deadline.h"

namespace idcardreader::platform {

namespace {

class PosixClock : public Clock {
 public:
  std::uint32_t TickCount() override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                                      static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000u);
  }

  LocalTime Now() override {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(now.tv_nsec / 1'000'000)};
  }

  void Sleep(std::uint32_t milliseconds) override {
    const timespec end = DeadlineAfter(std::chrono::milliseconds(milliseconds));
    // To a moment, not for a duration: signals that interrupt the sleep cannot stretch it.
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
  }
};

}  // namespace

Clock& SystemClock() {
  static const NeverDestroyed<PosixClock> clock;
  return *clock;
}

}  // namespace idcardreader::platform
