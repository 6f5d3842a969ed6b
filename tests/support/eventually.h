#pragma once

#include <chrono>
#include <thread>

namespace idcardreader {

// Waits for what another thread brings about without telling when. False when it never comes.
template <typename Condition>
bool Eventually(Condition condition, std::chrono::seconds limit = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace idcardreader
