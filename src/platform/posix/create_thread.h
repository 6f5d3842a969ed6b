#pragma once

#include <pthread.h>
#include <signal.h>

namespace idcardreader::platform {

// All signals but those that report a fault of the thread itself, which a host's crash reporter is
// to get.
inline sigset_t SignalsOfOthers() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
    sigdelset(&signals, fault);
  }
  return signals;
}

// A new thread inherits the mask: a handler of the host must never run on a thread of ours, not even
// before its first instruction.
inline bool CreateThread(pthread_t& thread, void* (*enter)(void*), void* argument) {
  const sigset_t blocked = SignalsOfOthers();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const bool created = pthread_create(&thread, nullptr, enter, argument) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return created;
}

}  // namespace idcardreader::platform
