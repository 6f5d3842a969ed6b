#pragma once

#include <cstdint>

namespace idcardreader::platform {

struct LocalTime {
  int year, month, day, hour, minute, second, millisecond;
};

// The product uses SystemClock(); a test or a simulation hands in its own.
class Clock {
 public:
  virtual ~Clock() = default;
  // Milliseconds since some fixed moment; wraps around after 49.7 days.
  virtual std::uint32_t TickCount() = 0;
  virtual LocalTime Now() = 0;
  // Sleeps about as long as asked, a few tenths of a millisecond more at most, on an idle machine.
  virtual void Sleep(std::uint32_t milliseconds) = 0;
};

// Never destroyed: threads may still ask it while the process ends.
Clock& SystemClock();

}  // namespace idcardreader::platform
