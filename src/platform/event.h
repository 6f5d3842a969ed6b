#pragma once

#include <chrono>
#include <memory>

namespace idcardreader::platform {

// An auto-reset event, initially not signalled: one Set releases one waiter. A Set while a thread
// waits reaches that thread even when a Reset follows at once; a Set that nobody waits for is kept
// until the next wait or Reset.
class Event {
 public:
  // A name is given to the system for those who look at the process: an event of this name, when
  // nobody has it yet, shows each Set and Reset. No wait depends on it, since whoever opens it can
  // take its signals. Throws std::system_error when the system has no event.
  explicit Event(const char* name = nullptr);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void Set();
  void Reset();
  // Waits without a limit; whoever owns the event states who ends the wait.
  void Wait();
  // False when the time ran out.
  bool WaitFor(std::chrono::milliseconds limit);

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace idcardreader::platform
