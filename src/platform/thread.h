#pragma once

#include <functional>
#include <memory>

namespace idcardreader::platform {

// One thread, started at most once. Its owner ends the work and joins it before letting go; the
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
  // Called from the thread itself, or without a thread, it returns at once.
  void Join();
  bool IsCurrent() const;

 private:
  struct State;
  std::unique_ptr<State> state;
};

// Overwrites what calls that have returned left on this thread's stack: bytes of a card among them,
// in variables that nobody can name any more.
void WipeStack();

}  // namespace idcardreader::platform
