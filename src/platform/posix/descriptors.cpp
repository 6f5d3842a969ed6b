#include "platform/posix/descriptors.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

namespace idcardreader::platform {

namespace {

// Until the deadline, as poll takes it; rounded up, or the last millisecond would be spent asking.
int MillisecondsUntil(Deadline deadline) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

}  // namespace

int AboveStandardStreams(int descriptor) {
  constexpr int kFirstFree = STDERR_FILENO + 1;
  if (descriptor < 0 || descriptor >= kFirstFree) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFree);
  ::close(descriptor);
  return moved;
}

// poll takes descriptors of any number, where select would write behind its sets.
int WaitForDescriptor(int descriptor, short events, const std::optional<Deadline>& deadline) {
  while (true) {
    pollfd entry{descriptor, events, 0};
    const int ready = poll(&entry, 1, deadline ? MillisecondsUntil(*deadline) : -1);
    if (ready >= 0 || errno != EINTR) return (entry.revents & POLLNVAL) != 0 ? -1 : ready;
  }
}

HeldWriteSignals::HeldWriteSignals() {
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

HeldWriteSignals::~HeldWriteSignals() {
  const int error = errno;
  constexpr timespec kAtOnce{};
  while (sigtimedwait(&raised, nullptr, &kAtOnce) > 0 || errno == EINTR) {
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
}

}  // namespace idcardreader::platform
