#include "service/socket_transport.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "support/logs.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLargestAnswer = 15360;
constexpr std::uint32_t kTimeoutMs = 1000;  // of each connect, send and receive
constexpr std::uint32_t kConnectSliceMs = 50;

const GbkText kConnected("连接成功");
const GbkText kNotConnected("连接失败");

}  // namespace

SocketTransport::~SocketTransport() {
  CloseSocket();
  if (!firstUse) {
    sockets.StopSockets();
  }
}

bool SocketTransport::CreateSocket() {
  if (firstUse) {
    const auto started = sockets.StartSockets();
    if (started != platform::SocketApi::Start::ok) {
      ErrorLog().Log(started == platform::SocketApi::Start::failed ? "winsock init fail"
                                                                   : "winsock version fail");
      return false;
    }
    firstUse = false;
  }
  const platform::SocketHandle created = sockets.CreateTcpSocket();
  {
    const std::lock_guard guard(handleLock);
    socket = created;
  }
  if (created == platform::kInvalidSocket) {
    ErrorLog().Log("socket creat fail");
    return false;
  }
  sockets.SetTimeouts(created, kTimeoutMs);
  sockets.SetDontLingerOff(created);
  return true;
}

bool SocketTransport::ConnectServer(const ServerEndpoint& server,
                                    const std::function<bool()>& givenUp) {
  sockets.SetNonBlocking(socket, true);
  const bool connected =
      sockets.Connect(socket, server.host.c_str(), server.port) || AwaitConnection(givenUp);
  sockets.SetNonBlocking(socket, false);
  if (!connected) {
    ErrorLog().Log("socket connect fail");
    CloseSocket();
  }
  PrintLine(connected ? std::string_view(kConnected) : std::string_view(kNotConnected));
  return connected;
}

bool SocketTransport::AwaitConnection(const std::function<bool()>& givenUp) {
  for (std::uint32_t waitedMs = 0; waitedMs < kTimeoutMs && !givenUp();
       waitedMs += kConnectSliceMs) {
    const int ready = sockets.WaitWritable(socket, kConnectSliceMs);
    if (ready != 0) {
      return ready > 0 && sockets.PendingError(socket) == 0;
    }
  }
  return false;
}

bool SocketTransport::SendData(std::string_view message) {
  if (sockets.Send(socket, message.data(), message.size()) <= 0) {
    ErrorLog().Log("socket send fail2(-1)");
    return false;
  }
  return true;
}

bool SocketTransport::ReceiveData(std::string& answer) {
  answer.assign(kLargestAnswer, '\0');
  const int received = sockets.Receive(socket, answer.data(), answer.size());
  answer.resize(static_cast<std::size_t>(std::max(received, 0)));
  if (received <= 0) {
    ErrorLog().Log("socket read fail2(-1)");
  }
  return received > 0;
}

void SocketTransport::CloseSocket() {
  platform::SocketHandle closed = platform::kInvalidSocket;
  {
    const std::lock_guard guard(handleLock);
    std::swap(closed, socket);
  }
  if (closed != platform::kInvalidSocket) {
    sockets.Close(closed);
  }
}

void SocketTransport::Shutdown() {
  const std::lock_guard guard(handleLock);
  if (socket != platform::kInvalidSocket) {
    sockets.Shutdown(socket);
  }
}

}  // namespace idcardreader
