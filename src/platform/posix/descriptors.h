#pragma once

#include <signal.h>

#include <chrono>
#include <optional>

namespace idcardreader::platform {

// A host without standard streams leaves their numbers free. A descriptor of ours under such a
// number would get what the process prints; it is exchanged for a higher one. -1 when there is none.
int AboveStandardStreams(int descriptor);

// A moment on the clock that nobody can set: a wait must not stretch when the date of the machine is
// corrected.
using Deadline = std::chrono::steady_clock::time_point;
inline Deadline DeadlineAfter(std::chrono::milliseconds limit) {
  return std::chrono::steady_clock::now() + limit;
}

// 1 when one of poll's events has come or the descriptor has failed, 0 when the deadline has passed,
// -1 on error. Signals do not end it.
int WaitForDescriptor(int descriptor, short events, const std::optional<Deadline>& deadline);

// Keeps from the host the signals that a write of ours raises: for a pipe without a reader, a file
// at its largest size, a terminal that belongs to somebody else. One that was waiting for this
// thread before goes on doing so.
class HeldWriteSignals {
 public:
  HeldWriteSignals();
  ~HeldWriteSignals();
  HeldWriteSignals(const HeldWriteSignals&) = delete;
  HeldWriteSignals& operator=(const HeldWriteSignals&) = delete;

 private:
  sigset_t before;
  sigset_t raised;
};

}  // namespace idcardreader::platform
