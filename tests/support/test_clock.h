#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "platform/clock.h"

namespace idcardreader {

// A clock that stands still until a test moves it; sleeping takes no time.
class TestClock : public platform::Clock {
 public:
  std::uint32_t TickCount() override { return ticks; }
  platform::LocalTime Now() override { return {2024, 1, 2, 3, 4, 5, 6}; }
  void Sleep(std::uint32_t milliseconds) override {
    sleptMs += milliseconds;
    std::this_thread::yield();
  }

  std::atomic<std::uint32_t> ticks = 1'000;
  std::atomic<std::uint32_t> sleptMs = 0;
};

}  // namespace idcardreader
