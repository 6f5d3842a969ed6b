#pragma once

#include <chrono>

#include "platform/clock.h"

namespace idcardreader {

// Waits for what another thread brings about without telling when. False when it never comes.
template <typename Condition>
bool Eventually(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    platform::SystemClock().Sleep(1);
  }
  return true;
}

}  // namespace idcardreader
