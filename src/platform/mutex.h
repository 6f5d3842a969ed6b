#pragma once

#include <chrono>
#include <memory>

namespace idcardreader::platform {

// A re-entrant lock between the threads of this process (a critical section on Windows). It meets
// the standard Lockable shape, so std::lock_guard and std::unique_lock take it.
class CSMutex {
 public:
  CSMutex();
  ~CSMutex();
  CSMutex(const CSMutex&) = delete;
  CSMutex& operator=(const CSMutex&) = delete;

  void lock();
  void unlock();

 private:
  friend class Condition;
  struct State;
  std::unique_ptr<State> state;
};

// Waits for a change of what a CSMutex guards. The caller holds the mutex exactly once and tests
// its own condition in a loop: wake-ups without cause happen.
class Condition {
 public:
  Condition();
  ~Condition();
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  void Wait(CSMutex& mutex);
  void WaitFor(CSMutex& mutex, std::chrono::milliseconds limit);
  void NotifyAll();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace idcardreader::platform
