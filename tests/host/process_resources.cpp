#include "host/process_resources.h"

#if defined(_WIN32)
#include <windows.h>
// Both need the one above.
#include <psapi.h>
#include <tlhelp32.h>

#include <vector>
#else
#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#endif

namespace hosttest {

#if defined(_WIN32)

namespace {

std::int64_t AllocatedBytes() {
  std::vector<HANDLE> heaps(64);
  heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
  std::int64_t bytes = 0;
  for (const HANDLE heap : heaps) {
    HeapLock(heap);
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heap, &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
    HeapUnlock(heap);
  }
  return bytes;
}

// Asked one by one: Wine does not tell how many there are. They are given out from below.
int Handles() {
  constexpr std::uintptr_t kHighest = 4 * 4096;
  int handles = 0;
  for (std::uintptr_t value = 4; value <= kHighest; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++handles;
  }
  return handles;
}

int Threads() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  int threads = 0;
  for (BOOL found = Thread32First(snapshot, &entry); found;
       found = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++threads;
  }
  CloseHandle(snapshot);
  return threads;
}

}  // namespace

ProcessResources MeasureProcess() {
  PROCESS_MEMORY_COUNTERS memory{};
  GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory));
  return {AllocatedBytes(), static_cast<std::int64_t>(memory.WorkingSetSize), Handles(), Threads()};
}

bool IsLoaded(const std::filesystem::path& library) {
  return GetModuleHandleW(library.c_str()) != nullptr;
}

#else

ProcessResources MeasureProcess() {
  const struct mallinfo2 heap = mallinfo2();
  std::ifstream statm("/proc/self/statm");
  std::int64_t pages = 0;
  statm >> pages >> pages;  // the second number: resident
  const auto entries = [](const char* folder) {
    const std::filesystem::directory_iterator found(folder);
    return static_cast<int>(std::distance(begin(found), end(found)));
  };
  return {static_cast<std::int64_t>(heap.uordblks + heap.hblkhd), pages * sysconf(_SC_PAGESIZE),
          entries("/proc/self/fd"), entries("/proc/self/task")};
}

bool IsLoaded(const std::filesystem::path& library) {
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

#endif

}  // namespace hosttest
