#pragma once

#include <cstdint>

namespace idcardreader {

// Runs the body of an export; nothing thrown crosses into the host. What can be thrown is running
// out of memory, which yields the export's "nothing" value.
template <typename Body, typename Result>
Result Guarded(Result nothing, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    return nothing;
  }
}

// Flags and modes are 8 bits wide; the rest of the register is whatever the host left there.
constexpr std::uint8_t LowByte(std::int32_t argument) {
  return static_cast<std::uint8_t>(argument);
}

}  // namespace idcardreader
