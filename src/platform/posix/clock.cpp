#include "platform/clock.h"

#include <time.h>

#include <chrono>
#include <thread>

#include "platform/process_wide.h"

namespace idcardreader::platform {

namespace {

using std::chrono::milliseconds;

class PosixClock : public Clock {
 public:
  std::uint32_t TickCount() override {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::floor<milliseconds>(sinceStart).count());
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

  // A signal does not cut it short.
  void Sleep(std::uint32_t duration) override {
    std::this_thread::sleep_for(milliseconds(duration));
  }
};

}  // namespace

Clock& SystemClock() {
  static ProcessWide<PosixClock> clock;
  return *clock;
}

}  // namespace idcardreader::platform
