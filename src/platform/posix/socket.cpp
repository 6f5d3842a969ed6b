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

#include "platform/never_destroyed.h"
#include "platform/posix/above_standard_streams.h"
#include "platform/posix/deadline.h"
#include "platform/reserved_host_name.h"

namespace idcardreader::platform {

namespace {

int Descriptor(SocketHandle socket) { return static_cast<int>(socket); }

// When a call begun now has to end by the time-out of the socket; nothing when it has none.
std::optional<timespec> SocketDeadline(int descriptor, int option) {
  timeval limit{};
  socklen_t size = sizeof limit;
  if (getsockopt(descriptor, SOL_SOCKET, option, &limit, &size) != 0) return std::nullopt;
  const auto milliseconds =
      std::chrono::seconds(limit.tv_sec) + std::chrono::duration_cast<std::chrono::milliseconds>(
                                               std::chrono::microseconds(limit.tv_usec));
  if (milliseconds.count() == 0) return std::nullopt;
  return DeadlineAfter(milliseconds);
}

// 1 ready, 0 time-out, -1 error. poll takes descriptors of any number, where select would write
// behind its sets.
int WaitReady(int descriptor, short events, const std::optional<timespec>& deadline) {
  while (true) {
    pollfd entry{descriptor, events, 0};
    const int ready = poll(&entry, 1, deadline ? MillisecondsUntil(*deadline) : -1);
    if (ready > 0) return (entry.revents & POLLNVAL) != 0 ? -1 : 1;
    if (ready == 0) return 0;
    if (errno != EINTR) return -1;
  }
}

bool IsNonBlocking(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && (flags & O_NONBLOCK) != 0;
}

bool WouldBlock(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

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
    const auto* generic = reinterpret_cast<const sockaddr*>(&peer);
    if (::connect(Descriptor(socket), generic, sizeof peer) == 0) return true;
    if (errno != EINTR) return false;
    // The attempt goes on by itself; a second connect would only say so.
    return !IsNonBlocking(Descriptor(socket)) &&
           WaitReady(Descriptor(socket), POLLOUT,
                     SocketDeadline(Descriptor(socket), SO_SNDTIMEO)) == 1 &&
           PendingError(socket) == 0;
  }

  int WaitWritable(SocketHandle socket, std::uint32_t milliseconds) override {
    return WaitReady(Descriptor(socket), POLLOUT,
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
    const int descriptor = Descriptor(socket);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    const std::size_t total = std::min<std::size_t>(length, INT_MAX);
    const std::optional<timespec> deadline = SocketDeadline(descriptor, SO_SNDTIMEO);
    std::size_t sent = 0;
    int flags = MSG_NOSIGNAL;
    while (true) {
      const ssize_t count = ::send(descriptor, bytes + sent, total - sent, flags);
      if (count >= 0) sent += static_cast<std::size_t>(count);
      const bool blocked = count < 0 && (flags & MSG_DONTWAIT) != 0 && WouldBlock(errno);
      const bool interrupted = count < 0 ? errno == EINTR : sent < total;
      const int soFar = sent > 0 || count >= 0 ? static_cast<int>(sent) : -1;
      if (!interrupted && !blocked) return soFar;
      if (IsNonBlocking(descriptor)) return soFar;
      // Only what is left of the time-out counts for the rest, so the system must not wait again.
      flags |= MSG_DONTWAIT;
      if (WaitReady(descriptor, POLLOUT, deadline) != 1) return soFar;
    }
  }

  int Receive(SocketHandle socket, void* data, std::size_t capacity) override {
    const int descriptor = Descriptor(socket);
    const std::size_t wanted = std::min<std::size_t>(capacity, INT_MAX);
    const std::optional<timespec> deadline = SocketDeadline(descriptor, SO_RCVTIMEO);
    int flags = 0;
    while (true) {
      const ssize_t count = ::recv(descriptor, data, wanted, flags);
      if (count >= 0) return static_cast<int>(count);
      const bool blocked = (flags & MSG_DONTWAIT) != 0 && WouldBlock(errno);
      if (errno != EINTR && !blocked) return -1;
      flags |= MSG_DONTWAIT;
      if (WaitReady(descriptor, POLLIN, deadline) != 1) return -1;
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
  static const NeverDestroyed<PosixSockets> sockets;
  return *sockets;
}

}  // namespace idcardreader::platform
