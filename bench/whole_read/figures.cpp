#include "whole_read/figures.h"

#include <algorithm>
#include <cstddef>

#if defined(_WIN32)
// The second needs the types of the first.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on
#else
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#endif

namespace bench {

Figures FiguresOf(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  const std::size_t count = samples.size();
  return {samples[count / 2], samples[count * 95 / 100], samples.back()};
}

#if defined(_WIN32)

double ProcessorSeconds() {
  FILETIME begin{};
  FILETIME end{};
  FILETIME kernel{};
  FILETIME user{};
  GetProcessTimes(GetCurrentProcess(), &begin, &end, &kernel, &user);
  const auto seconds = [](const FILETIME& time) {
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) * 1e-7;
  };
  return seconds(kernel) + seconds(user);
}

double MemoryMegabytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  return static_cast<double>(counters.WorkingSetSize) / (1024 * 1024);
}

#else

double ProcessorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double MemoryMegabytes() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  statm >> pages >> pages;  // the second number: resident
  return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

#endif

}  // namespace bench
