#pragma once

#include <windows.h>

#include <algorithm>
#include <chrono>

namespace idcardreader::platform {

// A limit as the system's waits take it. The largest value would mean "without end".
inline DWORD TimeLimit(std::chrono::milliseconds limit) {
  constexpr long long kLongest = static_cast<long long>(INFINITE) - 1;
  return static_cast<DWORD>(std::clamp<long long>(limit.count(), 0, kLongest));
}

}  // namespace idcardreader::platform
