#pragma once

#include <cstdint>

#include "platform/clock.h"
#include "stand_ins/threads.h"

namespace fuzz {

// Time passes when somebody spends it: by sleeping, or by waiting for a reader or a service.
class VirtualClock : public idcardreader::platform::Clock {
 public:
  std::uint32_t TickCount() override { return ticks; }
  idcardreader::platform::LocalTime Now() override { return {2024, 1, 2, 3, 4, 5, 6}; }
  void Sleep(std::uint32_t milliseconds) override {
    Spend(milliseconds);
    PauseThread();
  }
  void Spend(std::uint32_t milliseconds) { ticks += milliseconds; }

 private:
  std::uint32_t ticks = 0xFFFFF000;  // soon to wrap around
};

}  // namespace fuzz
