#include "interruption.h"

#include <csignal>

namespace readcard {
namespace {

constexpr std::chrono::milliseconds kLook(20);

// Set by a signal handler, read by threads.
std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void Interrupt(int) { interrupted = true; }

}  // namespace

Interruption::Interruption(std::function<void()> stop) {
  std::signal(SIGINT, Interrupt);
  std::signal(SIGTERM, Interrupt);
  watcher = std::thread([this, stop = std::move(stop)] {
    while (!over && !Happened()) std::this_thread::sleep_for(kLook);
    if (Happened()) stop();
  });
}

Interruption::~Interruption() {
  over = true;
  watcher.join();
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

bool Interruption::Happened() { return interrupted; }

void Interruption::Pause(std::chrono::milliseconds duration) {
  const auto end = std::chrono::steady_clock::now() + duration;
  while (!Happened() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kLook);
}

}  // namespace readcard
