#pragma once

#include <atomic>
#include <memory>

#include "reader_model/reader_model.h"

namespace devkit {

// Tells, also when the thread is gone, whether and when it has ended.
class ThreadLife {
 public:
  // Of the calling thread, always the same one.
  static std::shared_ptr<ThreadLife> OfThisThread();

  bool HasEnded() const { return ended; }
  Moment End() const { return end; }  // of a thread that has ended

 private:
  static void NoteEnd(void* life);

  Moment end{};
  std::atomic<bool> ended{false};
};

}  // namespace devkit
