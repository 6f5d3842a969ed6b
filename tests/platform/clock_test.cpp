#include "platform/clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace idcardreader::platform {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

TEST(SystemClock, SleepsNeitherShorterThanAskedNorByTheTickOfTheSystem) {
  milliseconds best = milliseconds::max();
  for (int i = 0; i < 100 && best > milliseconds(7); ++i) {
    const auto start = steady_clock::now();
    const std::uint32_t tick = SystemClock().TickCount();
    SystemClock().Sleep(5);
    EXPECT_LE(SystemClock().TickCount() - tick, 60'000U);
    const auto taken = duration_cast<milliseconds>(steady_clock::now() - start);
    EXPECT_GE(taken, milliseconds(4));
    best = std::min(best, taken);
  }
  // A busy machine may delay some of them; by the tick all would take 15.6 ms.
  EXPECT_LE(best, milliseconds(7));
}

TEST(SystemClock, TellsTheLocalTime) {
  constexpr milliseconds kTick(20);  // of the coarser clocks
  const auto before = system_clock::now();
  const LocalTime now = SystemClock().Now();
  const auto after = system_clock::now();
  std::tm parts{now.second, now.minute, now.hour, now.day, now.month - 1, now.year - 1900};
  parts.tm_isdst = -1;
  const auto told = system_clock::from_time_t(std::mktime(&parts)) + milliseconds(now.millisecond);
  EXPECT_GE(told + kTick, before);
  EXPECT_LE(told, after + kTick);
}

}  // namespace
}  // namespace idcardreader::platform
