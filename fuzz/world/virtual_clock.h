#pragma once

#include "stand_ins/stand_ins.h"
#include "support/test_clock.h"

namespace fuzz {

// Time passes when somebody spends it: by sleeping, or by waiting for a reader or a service.
class VirtualClock : public idcardreader::TestClock {
 public:
  VirtualClock() { ticks = 0xFFFFF000; }  // soon to wrap around
  void Sleep(std::uint32_t milliseconds) override {
    ticks += milliseconds;
    PauseThread();
  }
};

}  // namespace fuzz
