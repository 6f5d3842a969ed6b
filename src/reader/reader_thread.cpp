#include "reader/reader_thread.h"

#include <mutex>
#include <utility>

#include "platform/wiping.h"

namespace idcardreader {

bool ReaderThread::Take(Turn& turn) {
  std::unique_ptr<platform::CSThread> left;
  {
    const std::lock_guard guard(lock);
    Collect(left);
    if (thread == nullptr) {
      if (turn.last) {
        return true;
      }
      auto started = std::make_unique<platform::CSThread>();
      if (!started->Start([this] { TakeTurns(); })) {
        return false;
      }
      thread = std::move(started);
    }
    *end = &turn;
    end = &turn.next;
    changed.NotifyAll();
    while (!turn.done) {
      changed.Wait(lock);  // ended by the thread, which performs whatever stands in the queue
    }
    Collect(left);
  }
  if (turn.failure) {
    std::rethrow_exception(turn.failure);
  }
  return true;
}

// Whoever comes first behind the thread's end takes it, and joins it without the lock.
void ReaderThread::Collect(std::unique_ptr<platform::CSThread>& left) {
  if (ended) {
    left = std::move(thread);
    ended = false;
  }
}

ReaderThread::Turn* ReaderThread::AwaitTurn() {
  const std::lock_guard guard(lock);
  while (first == nullptr) {
    changed.Wait(lock);  // ended by the next turn: the last one is always a closing
  }
  return first;
}

void ReaderThread::TakeTurns() {
  for (;;) {
    Turn& turn = *AwaitTurn();
    try {
      turn.operation();
    } catch (...) {
      turn.failure = std::current_exception();
    }
    platform::WipeStack();
    const std::lock_guard guard(lock);
    first = turn.next;
    if (first == nullptr) {
      end = &first;
    }
    ended = turn.last && first == nullptr;
    turn.done = true;
    changed.NotifyAll();
    if (ended) {
      return;
    }
  }
}

}  // namespace idcardreader
