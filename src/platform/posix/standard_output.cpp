#include "platform/standard_output.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/posix/descriptors.h"

namespace idcardreader::platform {

namespace {

// The number of a stream that the process was started without is free for whatever is opened next.
const bool thereFromTheStart = fcntl(STDOUT_FILENO, F_GETFD) >= 0;

// Hands over all of the text, in pieces, until one is not taken.
template <typename Piece>
void InPieces(std::string_view text, Piece piece) {
  while (!text.empty()) {
    const ssize_t written = piece(text);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

bool HasRoom() {
  pollfd entry{STDOUT_FILENO, POLLOUT, 0};
  return poll(&entry, 1, 0) == 1 && entry.revents == POLLOUT;
}

// Through a descriptor of our own: that it does not wait is set for all that share the host's.
void WriteWithoutWaiting(std::string_view text) {
  const int own = open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (own >= 0) {
    InPieces(text, [own](std::string_view left) { return write(own, left.data(), left.size()); });
    close(own);
    return;
  }
  InPieces(text, [](std::string_view left) -> ssize_t {
    return HasRoom()
               ? write(STDOUT_FILENO, left.data(), std::min<std::size_t>(left.size(), PIPE_BUF))
               : 0;
  });
}

}  // namespace

void WriteStandardOutput(std::string_view text) {
  struct stat status {};
  if (!thereFromTheStart || fstat(STDOUT_FILENO, &status) != 0) return;
  const HeldWriteSignals held;
  if (S_ISSOCK(status.st_mode)) {
    InPieces(text, [](std::string_view left) {
      return send(STDOUT_FILENO, left.data(), left.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    });
  } else if (S_ISFIFO(status.st_mode) || isatty(STDOUT_FILENO) == 1) {
    WriteWithoutWaiting(text);
  } else if (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode)) {
    InPieces(text,
             [](std::string_view left) { return write(STDOUT_FILENO, left.data(), left.size()); });
  }
}

// Whatever was written is out.
void SettleStandardOutput() {}

}  // namespace idcardreader::platform
