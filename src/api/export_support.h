#pragma once

#include <cstdint>
#include <string_view>

#include "api/engine_use.h"
#include "platform/process.h"
#include "platform/wiping.h"

namespace idcardreader {

// On a stack frame of its own, so that it lies where the stack is wiped.
template <typename Body>
[[gnu::noinline]] auto OnAFrameOfItsOwn(Body& body) {
  return body();
}

// Runs the body of an export; nothing thrown crosses into the host. What can be thrown is running
// out of memory, which yields the export's "nothing" value, and so does a forked child: there the
// locks may be held by threads that it does not have. What the body leaves on the caller's stack may
// be a card's.
template <typename Body, typename Result>
Result Guarded(Result nothing, Body body) noexcept {
  if (platform::InForkedChild()) {
    return nothing;
  }
  Result result = nothing;
  try {
    result = OnAFrameOfItsOwn(body);
  } catch (...) {
    result = nothing;
  }
  platform::WipeStack();
  return result;
}

// What the body makes of the engine that there is, or of the one that is made for it; nothing without
// one.
template <typename Result, typename Body>
Result WithEngine(EngineUse (*use)(), Result nothing, Body body) {
  return Guarded(nothing, [&] {
    const EngineUse engine = use();
    return engine ? static_cast<Result>(body(*engine)) : nothing;
  });
}

// Flags and modes are 8 bits wide; the rest of the register is whatever the host left there.
constexpr std::uint8_t LowByte(std::int32_t argument) {
  return static_cast<std::uint8_t>(argument);
}

// Puts a text where every text that an export returns stands, and returns the place. It stays the
// same place as long as the texts have no more than 64 KB, so that a pointer handed out earlier
// shows the newest text.
const char* SetResultText(std::string_view text);

// When the library is unloaded.
void ReleaseResultText();

}  // namespace idcardreader
