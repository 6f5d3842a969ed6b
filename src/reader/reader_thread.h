#pragma once

#include <exception>
#include <functional>
#include <memory>

#include "platform/mutex.h"
#include "platform/threads.h"

namespace idcardreader {

// The one thread that speaks to the reader. What the system has begun for a thread (a read that is
// still waiting for a report, say) ends with that thread, and the system's own code for readers is
// made for one thread: so whoever wants something of the reader has it done here and waits.
//
// The thread is made by the first operation and ended by the last one.
class ReaderThread {
 public:
  ReaderThread() = default;
  ReaderThread(const ReaderThread&) = delete;
  ReaderThread& operator=(const ReaderThread&) = delete;

  // Has the operation performed when its turn comes, and returns behind its end; passes on what it
  // throws. False when the system gives no thread.
  template <typename Operation>
  bool Perform(Operation operation) {
    Turn turn(operation);
    return Take(turn);
  }

  // The same, and the thread ends behind it, unless others wait for their turn. Without a thread
  // nothing is done: nothing can be open.
  template <typename Operation>
  void PerformLast(Operation operation) {
    Turn turn(operation);
    turn.last = true;
    Take(turn);
  }

 private:
  // Lives on the stack of its caller, and refers to the operation there: ending the reader's business
  // must not need memory.
  struct Turn {
    template <typename Operation>
    explicit Turn(Operation& operation) : operation(std::ref(operation)) {}
    const std::function<void()> operation;
    bool last = false;
    bool done = false;
    std::exception_ptr failure;
    Turn* next = nullptr;
  };

  bool Take(Turn& turn);
  void Collect(std::unique_ptr<platform::CSThread>& left);
  void TakeTurns();
  Turn* AwaitTurn();

  platform::CSMutex lock;       // guards the rest; never held while an operation runs
  platform::Condition changed;  // a turn was added, or is done
  Turn* first = nullptr;
  Turn** end = &first;
  bool ended = false;  // the thread takes no more turns
  std::unique_ptr<platform::CSThread> thread;
};

}  // namespace idcardreader
