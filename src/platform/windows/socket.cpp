#include "platform/socket.h"

#include <winsock2.h>
#include <ws2tcpip.h>

// Behind winsock2.h, which refuses to come second.
#include <windows.h>

#include <algorithm>
#include <climits>

#include "platform/process_wide.h"

#ifndef WSA_FLAG_NO_HANDLE_INHERIT
#define WSA_FLAG_NO_HANDLE_INHERIT 0x80
#endif

namespace idcardreader::platform {

namespace {

constexpr BYTE kMajor = 2;
constexpr BYTE kMinor = 2;

SOCKET Native(SocketHandle socket) { return static_cast<SOCKET>(socket); }

static_assert(static_cast<SocketHandle>(INVALID_SOCKET) == kInvalidSocket);

int Bounded(std::size_t length) { return static_cast<int>(std::min<std::size_t>(length, INT_MAX)); }

class WindowsSockets : public SocketApi {
 public:
  Start StartSockets() override {
    WSADATA data{};
    if (WSAStartup(MAKEWORD(kMajor, kMinor), &data) != 0) return Start::failed;
    if (LOBYTE(data.wVersion) == kMajor && HIBYTE(data.wVersion) == kMinor) return Start::ok;
    WSACleanup();
    return Start::wrong_version;
  }

  void StopSockets() override { WSACleanup(); }

  SocketHandle CreateTcpSocket() override {
    SOCKET created = WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0,
                                WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (created == INVALID_SOCKET) created = ::socket(AF_INET, SOCK_STREAM, 0);
    if (created == INVALID_SOCKET) return kInvalidSocket;
    SetHandleInformation(reinterpret_cast<HANDLE>(created), HANDLE_FLAG_INHERIT, 0);
    return static_cast<SocketHandle>(created);
  }

  void SetTimeouts(SocketHandle socket, std::uint32_t milliseconds) override {
    const DWORD limit = milliseconds;
    SetOption(socket, SO_SNDTIMEO, limit);
    SetOption(socket, SO_RCVTIMEO, limit);
  }

  void SetDontLingerOff(SocketHandle socket) override {
    const DWORD off = 0;
    SetOption(socket, SO_DONTLINGER, off);
  }

  bool SetNonBlocking(SocketHandle socket, bool on) override {
    u_long value = on ? 1 : 0;
    return ioctlsocket(Native(socket), static_cast<long>(FIONBIO), &value) == 0;
  }

  bool Connect(SocketHandle socket, const char* address, std::uint16_t port) override {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = inet_addr(address);
    if (peer.sin_addr.s_addr == INADDR_NONE) return false;
    return ::connect(Native(socket), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
  }

  int WaitWritable(SocketHandle socket, std::uint32_t milliseconds) override {
    fd_set writable;
    fd_set failed;  // where Windows reports a connection that was refused
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    FD_SET(Native(socket), &writable);
    FD_SET(Native(socket), &failed);
    timeval limit{};
    limit.tv_sec = static_cast<long>(milliseconds / 1000);
    limit.tv_usec = static_cast<long>(milliseconds % 1000) * 1000;
    const int ready = ::select(0, nullptr, &writable, &failed, &limit);
    return ready > 0 ? 1 : ready == 0 ? 0 : -1;
  }

  int PendingError(SocketHandle socket) override {
    int error = 0;
    int size = sizeof error;
    if (getsockopt(Native(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) !=
        0) {
      return WSAGetLastError();
    }
    if (error != 0) return error;
    sockaddr_in peer{};
    int peerSize = sizeof peer;
    return getpeername(Native(socket), reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0
               ? 0
               : WSAGetLastError();
  }

  int Send(SocketHandle socket, const void* data, std::size_t length) override {
    return ::send(Native(socket), static_cast<const char*>(data), Bounded(length), 0);
  }

  int Receive(SocketHandle socket, void* data, std::size_t capacity) override {
    return ::recv(Native(socket), static_cast<char*>(data), Bounded(capacity), 0);
  }

  void Shutdown(SocketHandle socket) override {
    ::shutdown(Native(socket), SD_BOTH);
    // A receive that is under way need not notice the shutdown before its time-out.
    CancelIoEx(reinterpret_cast<HANDLE>(socket), nullptr);
  }

  void Close(SocketHandle socket) override { ::closesocket(Native(socket)); }

  std::string ResolveHostName(const std::string& name) override {
    if (IsReservedHostName(name)) return {};
    if (StartSockets() != Start::ok) return {};
    std::string address;
    const hostent* host = gethostbyname(name.c_str());
    if (host != nullptr && host->h_addrtype == AF_INET && host->h_addr_list[0] != nullptr) {
      in_addr first{};
      std::copy_n(host->h_addr_list[0], sizeof first, reinterpret_cast<char*>(&first));
      address = inet_ntoa(first);
    }
    StopSockets();
    return address;
  }

 private:
  static void SetOption(SocketHandle socket, int option, const DWORD& value) {
    setsockopt(Native(socket), SOL_SOCKET, option, reinterpret_cast<const char*>(&value),
               sizeof value);
  }
};

}  // namespace

SocketApi& SystemSockets() {
  static ProcessWide<WindowsSockets> sockets;
  return *sockets;
}

}  // namespace idcardreader::platform
