#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace readcard {

// Ctrl-C as an event: while one of these lives, an interruption of the program calls `stop`, on a
// thread of its own, where a signal handler might call next to nothing.
class Interruption {
 public:
  explicit Interruption(std::function<void()> stop);
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  static bool Happened();
  // Returns early on an interruption.
  static void Pause(std::chrono::milliseconds duration);

 private:
  std::atomic<bool> over = false;
  std::thread watcher;
};

}  // namespace readcard
