#pragma once

#include <cstdint>
#include <filesystem>

namespace hosttest {

// What this process holds of the system.
struct ProcessResources {
  std::int64_t allocatedBytes = 0;  // handed out by the heaps and not given back
  std::int64_t residentBytes = 0;
  int handles = 0;  // descriptors where there are no handles
  int threads = 0;
};

ProcessResources MeasureProcess();

// True while the process has this library in memory.
bool IsLoaded(const std::filesystem::path& library);

}  // namespace hosttest
