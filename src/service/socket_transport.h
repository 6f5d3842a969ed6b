#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/mutex.h"
#include "platform/socket.h"

namespace idcardreader {

// One blocking TCP socket to the decode service. One send call carries one message, one receive
// call brings one answer; nothing is joined or repeated here. Failures go to the error log, the
// outcome of a connect to standard output as well.
//
// One thread at a time uses it, whoever holds the link's exchange lock; only Shutdown may be called
// beside a send or receive, to end it.
class SocketTransport {
 public:
  static constexpr std::size_t kReceiveBufferSize = 15360;

  explicit SocketTransport(platform::SocketApi& sockets);
  // Closes the socket and gives the system's sockets back.
  ~SocketTransport();
  SocketTransport(const SocketTransport&) = delete;
  SocketTransport& operator=(const SocketTransport&) = delete;

  // The dotted address and port of the next connect.
  void SetServer(std::string_view address, std::uint16_t port);

  bool CreateSocket();
  // For each single send and receive.
  void SetSocketOptions(std::uint32_t timeoutMs);
  // Gives up after one second, or 50 ms after givenUp has come true.
  bool ConnectServer(const std::function<bool()>& givenUp);
  // Bytes that the one send call took, more than 0, or -1.
  int SendData(const void* data, std::size_t length);
  // Bytes received, more than 0, or -1; the output holds just these bytes.
  int ReceiveData(std::string& output);
  void CloseSocket();
  // Ends a send or receive that another thread is blocked in; the socket stays to be closed.
  void Shutdown();

 private:
  bool AwaitConnection(const std::function<bool()>& givenUp);

  platform::SocketApi& sockets;
  std::array<char, 16> serverAddress{};
  std::uint16_t port;
  // Guards the handle against Shutdown: once it is closed, its number may be somebody else's.
  platform::CSMutex handleLock;
  platform::SocketHandle socket = platform::kInvalidSocket;
  bool firstUse = true;
  std::array<char, kReceiveBufferSize> receiveBuffer;
};

}  // namespace idcardreader
