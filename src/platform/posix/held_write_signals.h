#pragma once

#include <errno.h>
#include <pthread.h>
#include <signal.h>

namespace idcardreader::platform {

// Keeps from the host the signals that a write of ours raises: for a pipe without a reader, a file
// at its largest size, a terminal that belongs to somebody else. One that was waiting for this
// thread before goes on doing so.
class HeldWriteSignals {
 public:
  HeldWriteSignals() {
    sigset_t waiting;
    sigpending(&waiting);
    sigemptyset(&raised);
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU}) {
      sigaddset(&held, signal);
      if (sigismember(&waiting, signal) == 0) sigaddset(&raised, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &before);
  }
  ~HeldWriteSignals() {
    const int error = errno;
    constexpr timespec kAtOnce{};
    while (sigtimedwait(&raised, nullptr, &kAtOnce) > 0 || errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
  }
  HeldWriteSignals(const HeldWriteSignals&) = delete;
  HeldWriteSignals& operator=(const HeldWriteSignals&) = delete;

 private:
  sigset_t before;
  sigset_t raised;
};

}  // namespace idcardreader::platform
