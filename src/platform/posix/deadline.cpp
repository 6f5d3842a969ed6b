#include "platform/posix/deadline.h"

#include <algorithm>
#include <climits>

namespace idcardreader::platform {

namespace {

constexpr long kNanosecondsPerSecond = 1'000'000'000;
constexpr long kNanosecondsPerMillisecond = 1'000'000;
constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);

}  // namespace

timespec DeadlineAfter(std::chrono::milliseconds limit) {
  const auto bounded = std::clamp(limit, std::chrono::milliseconds(0), kLongest).count();
  timespec moment{};
  clock_gettime(CLOCK_MONOTONIC, &moment);
  moment.tv_sec += static_cast<time_t>(bounded / 1000);
  moment.tv_nsec += static_cast<long>(bounded % 1000) * kNanosecondsPerMillisecond;
  if (moment.tv_nsec >= kNanosecondsPerSecond) {
    moment.tv_nsec -= kNanosecondsPerSecond;
    ++moment.tv_sec;
  }
  return moment;
}

int MillisecondsUntil(const timespec& deadline) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const long long nanoseconds =
      static_cast<long long>(deadline.tv_sec - now.tv_sec) * kNanosecondsPerSecond +
      (deadline.tv_nsec - now.tv_nsec);
  if (nanoseconds <= 0) return 0;
  const long long milliseconds =
      (nanoseconds + kNanosecondsPerMillisecond - 1) / kNanosecondsPerMillisecond;
  return static_cast<int>(std::min<long long>(milliseconds, INT_MAX));
}

int InitMonotonicCondition(pthread_cond_t& condition) {
  pthread_condattr_t attributes;
  if (const int error = pthread_condattr_init(&attributes)) return error;
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  const int error = pthread_cond_init(&condition, &attributes);
  pthread_condattr_destroy(&attributes);
  return error;
}

}  // namespace idcardreader::platform
