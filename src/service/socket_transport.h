#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "config/service_settings.h"
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
  explicit SocketTransport(platform::SocketApi& sockets) : sockets(sockets) {}
  // Closes the socket and gives the system's sockets back.
  ~SocketTransport();
  SocketTransport(const SocketTransport&) = delete;
  SocketTransport& operator=(const SocketTransport&) = delete;

  // One whose single send or receive may take a second.
  bool CreateSocket();
  // To a dotted address. Gives up after one second, or 50 ms after givenUp has come true.
  bool ConnectServer(const ServerEndpoint& server, const std::function<bool()>& givenUp);
  // True when the one send call took bytes.
  bool SendData(std::string_view message);
  // True when bytes came; the answer holds just these.
  bool ReceiveData(std::string& answer);
  void CloseSocket();
  // Ends a send or receive that another thread is blocked in; the socket stays to be closed.
  void Shutdown();

 private:
  bool AwaitConnection(const std::function<bool()>& givenUp);

  platform::SocketApi& sockets;
  // Guards the handle against Shutdown: once it is closed, its number may be somebody else's.
  platform::CSMutex handleLock;
  platform::SocketHandle socket = platform::kInvalidSocket;
  bool firstUse = true;
};

}  // namespace idcardreader
