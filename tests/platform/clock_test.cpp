#include "platform/clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace idcardreader::platform {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::steady_clock;

microseconds TimeOfSleep(std::uint32_t milliseconds) {
  const auto start = steady_clock::now();
  SystemClock().Sleep(milliseconds);
  return duration_cast<microseconds>(steady_clock::now() - start);
}

TEST(SystemClock, SleepsNeitherShorterThanAskedNorByTheTickOfTheSystem) {
  microseconds best = microseconds::max();
  for (int i = 0; i < 10; ++i) {
    const microseconds taken = TimeOfSleep(5);
    EXPECT_GE(taken, microseconds(4'900));
    best = std::min(best, taken);
  }
  // A busy machine may delay some of them; by the tick all would take 15.6 ms.
  EXPECT_LT(best, microseconds(8'000));
}

TEST(SystemClock, TicksInMilliseconds) {
  const std::uint32_t before = SystemClock().TickCount();
  const auto taken = duration_cast<std::chrono::milliseconds>(TimeOfSleep(60));
  const std::uint32_t ticks = SystemClock().TickCount() - before;
  EXPECT_GE(ticks, 40u);
  EXPECT_LE(ticks, static_cast<std::uint32_t>(taken.count()) + 50u);
}

TEST(SystemClock, TellsTheLocalTime) {
  const std::time_t before = std::time(nullptr);
  const LocalTime now = SystemClock().Now();
  const std::time_t after = std::time(nullptr);
  std::tm parts{};
  parts.tm_year = now.year - 1900;
  parts.tm_mon = now.month - 1;
  parts.tm_mday = now.day;
  parts.tm_hour = now.hour;
  parts.tm_min = now.minute;
  parts.tm_sec = now.second;
  parts.tm_isdst = -1;
  const std::time_t told = std::mktime(&parts);
  EXPECT_GE(told, before);
  EXPECT_LE(told, after);
  EXPECT_GE(now.millisecond, 0);
  EXPECT_LT(now.millisecond, 1000);
}

}  // namespace
}  // namespace idcardreader::platform
