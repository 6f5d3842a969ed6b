#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace fuzz {

// Ends the process as a crash does, so that the fuzzer keeps the input.
inline void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Does not hold: %s\n", what);
  std::abort();
}

inline bool Within(std::string_view part, std::string_view whole) {
  return whole.find(part) != std::string_view::npos;
}

}  // namespace fuzz
