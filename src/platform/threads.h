#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace idcardreader::platform {

// A thread that is started once. Its owner ends the work and joins it before letting go; the
// destructor joins a thread that still runs, so it must have been told to end.
class CSThread {
 public:
  CSThread();
  ~CSThread();
  CSThread(const CSThread&) = delete;
  CSThread& operator=(const CSThread&) = delete;

  // False when the system gives no thread; the object can then be thrown away.
  bool Start(std::function<void()> procedure);
  // True from a successful Start until the procedure has returned.
  bool Running() const;
  // Returns when the thread has ended for the system too: no instruction of it runs any more.
  // Without a thread it returns at once. For the owner alone.
  void Join();

 private:
  struct State;
  std::unique_ptr<State> state;
};

// A thread for a call that may never return. Whoever waits for it may give up: it is then left
// behind and keeps the library in memory until it has ended.
class LoneThread {
 public:
  LoneThread();
  ~LoneThread();
  LoneThread(const LoneThread&) = delete;
  LoneThread& operator=(const LoneThread&) = delete;

  // False when the system gives no thread. Whatever the procedure uses must be its own: it may run
  // on when this object and its owner are gone.
  bool Start(std::function<void()> procedure);
  // True when it has ended within the limit; no instruction of it runs any more then.
  bool WaitFor(std::chrono::milliseconds limit);

 private:
  struct State;
  std::shared_ptr<State> state;
};

// Wakes one thread: a Set is kept until its next Wait, or until a Reset while it does not wait.
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

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace idcardreader::platform
