#include "platform/socket.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <optional>

#include "platform/posix/descriptors.h"
#include "platform/process_wide.h"

namespace idcardreader::platform {

namespace {

int Descriptor(SocketHandle socket) { return static_cast<int>(socket); }

// When a call begun now has to end by the time-out of the socket; nothing when it has none.
std::optional<Deadline> SocketDeadline(int descriptor) {
  timeval limit{};
  socklen_t size = sizeof limit;
  if (getsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, &size) != 0) return std::nullopt;
  const std::chrono::milliseconds milliseconds(limit.tv_sec * 1000 + limit.tv_usec / 1000);
  if (milliseconds.count() == 0) return std::nullopt;
  return DeadlineAfter(milliseconds);
}

// After a transfer that has not waited: true when it is to be made once more. The system's own time-out
// would begin anew with each call that a signal interrupts.
bool ToBeRepeated(int descriptor, short events, const std::optional<Deadline>& deadline) {
  if (errno == EINTR) return true;
  return (errno == EAGAIN || errno == EWOULDBLOCK) &&
         WaitForDescriptor(descriptor, events, deadline) == 1;
}

class PosixSockets : public SocketApi {
 public:
  Start StartSockets() override { return Start::ok; }
  void StopSockets() override {}

  SocketHandle CreateTcpSocket() override {
    const int descriptor = AboveStandardStreams(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return descriptor < 0 ? kInvalidSocket : descriptor;
  }

  void SetTimeouts(SocketHandle socket, std::uint32_t milliseconds) override {
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(milliseconds / 1000);
    limit.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    setsockopt(Descriptor(socket), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    setsockopt(Descriptor(socket), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  }

  void SetDontLingerOff(SocketHandle socket) override {
    const linger giveUpAtOnce{1, 0};
    setsockopt(Descriptor(socket), SOL_SOCKET, SO_LINGER, &giveUpAtOnce, sizeof giveUpAtOnce);
  }

  bool SetNonBlocking(SocketHandle socket, bool on) override {
    const int flags = fcntl(Descriptor(socket), F_GETFL);
    if (flags < 0) return false;
    const int wanted = on ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
    return fcntl(Descriptor(socket), F_SETFL, wanted) == 0;
  }

  bool Connect(SocketHandle socket, const char* address, std::uint16_t port) override {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    if (inet_pton(AF_INET, address, &peer.sin_addr) != 1) return false;
    return ::connect(Descriptor(socket), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) ==
           0;
  }

  int WaitWritable(SocketHandle socket, std::uint32_t milliseconds) override {
    return WaitForDescriptor(Descriptor(socket), POLLOUT,
                             DeadlineAfter(std::chrono::milliseconds(milliseconds)));
  }

  int PendingError(SocketHandle socket) override {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(Descriptor(socket), SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
    if (error != 0) return error;
    // A connection refused at once has told its error to connect already, and nothing is pending.
    sockaddr_in peer{};
    socklen_t peerSize = sizeof peer;
    return getpeername(Descriptor(socket), reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0
               ? 0
               : errno;
  }

  int Send(SocketHandle socket, const void* data, std::size_t length) override {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    const std::size_t total = std::min<std::size_t>(length, INT_MAX);
    const auto deadline = SocketDeadline(Descriptor(socket));
    std::size_t sent = 0;
    while (sent < total) {
      const ssize_t count =
          ::send(Descriptor(socket), bytes + sent, total - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count >= 0) {
        sent += static_cast<std::size_t>(count);
      } else if (!ToBeRepeated(Descriptor(socket), POLLOUT, deadline)) {
        return sent > 0 ? static_cast<int>(sent) : -1;
      }
    }
    return static_cast<int>(sent);
  }

  int Receive(SocketHandle socket, void* data, std::size_t capacity) override {
    const std::size_t wanted = std::min<std::size_t>(capacity, INT_MAX);
    const auto deadline = SocketDeadline(Descriptor(socket));
    while (true) {
      const ssize_t count = ::recv(Descriptor(socket), data, wanted, MSG_DONTWAIT);
      if (count >= 0) return static_cast<int>(count);
      if (!ToBeRepeated(Descriptor(socket), POLLIN, deadline)) return -1;
    }
  }

  void Shutdown(SocketHandle socket) override { ::shutdown(Descriptor(socket), SHUT_RDWR); }

  void Close(SocketHandle socket) override { ::close(Descriptor(socket)); }

  std::string ResolveHostName(const std::string& name) override {
    if (IsReservedHostName(name)) return {};
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(name.c_str(), nullptr, &wanted, &found) != 0) return {};
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> list(found, &freeaddrinfo);
    if (list == nullptr) return {};
    char text[INET_ADDRSTRLEN] = {};
    const auto* address = reinterpret_cast<const sockaddr_in*>(list->ai_addr);
    if (inet_ntop(AF_INET, &address->sin_addr, text, sizeof text) == nullptr) return {};
    return text;
  }
};

}  // namespace

SocketApi& SystemSockets() {
  static ProcessWide<PosixSockets> sockets;
  return *sockets;
}

}  // namespace idcardreader::platform
