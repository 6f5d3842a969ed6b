#pragma once

#include <pthread.h>
#include <time.h>

#include <chrono>

namespace idcardreader::platform {

// Moments on the monotonic clock, which nobody can set: a wait must not stretch when the date of
// the machine is corrected. Limits above a year count as a year, negative ones as zero.
timespec DeadlineAfter(std::chrono::milliseconds limit);

// Milliseconds from now to the deadline, rounded up; 0 when it has passed.
int MillisecondsUntil(const timespec& deadline);

// A condition variable whose timed waits take DeadlineAfter's moments. Yields the error, 0 for
// none.
int InitMonotonicCondition(pthread_cond_t& condition);

}  // namespace idcardreader::platform
