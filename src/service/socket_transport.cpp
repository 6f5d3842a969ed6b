#include "service/socket_transport.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "support/logs.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr char kFallbackAddress[] = "127.0.0.1";  // without settings no byte leaves this machine
constexpr std::uint16_t kFallbackPort = 7333;
constexpr std::uint32_t kConnectTimeoutMs = 1000;
constexpr std::uint32_t kConnectSliceMs = 50;

const GbkText kConnected("连接成功");
const GbkText kNotConnected("连接失败");

}  // namespace

SocketTransport::SocketTransport(platform::SocketApi& sockets)
    : sockets(sockets), port(kFallbackPort) {
  SetServer(kFallbackAddress, kFallbackPort);
}

SocketTransport::~SocketTransport() {
  CloseSocket();
  if (!firstUse) {
    sockets.StopSockets();
  }
}

void SocketTransport::SetServer(std::string_view address, std::uint16_t serverPort) {
  serverAddress.fill('\0');
  std::copy_n(address.begin(), std::min(address.size(), serverAddress.size() - 1),
              serverAddress.begin());
  port = serverPort;
}

bool SocketTransport::CreateSocket() {
  if (firstUse) {
    switch (sockets.StartSockets()) {
      case platform::SocketApi::Start::ok:
        firstUse = false;
        break;
      case platform::SocketApi::Start::failed:
        ErrorLog().Log("winsock init fail");
        return false;
      case platform::SocketApi::Start::wrong_version:
        ErrorLog().Log("winsock version fail");
        return false;
    }
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
  return true;
}

void SocketTransport::SetSocketOptions(std::uint32_t timeoutMs) {
  sockets.SetTimeouts(socket, timeoutMs);
  sockets.SetDontLingerOff(socket);
}

bool SocketTransport::ConnectServer(const std::function<bool()>& givenUp) {
  sockets.SetNonBlocking(socket, true);
  const bool connected =
      sockets.Connect(socket, serverAddress.data(), port) || AwaitConnection(givenUp);
  sockets.SetNonBlocking(socket, false);
  if (!connected) {
    ErrorLog().Log("socket connect fail");
    CloseSocket();
  }
  PrintLine(connected ? std::string_view(kConnected) : std::string_view(kNotConnected));
  return connected;
}

bool SocketTransport::AwaitConnection(const std::function<bool()>& givenUp) {
  for (std::uint32_t waitedMs = 0; waitedMs < kConnectTimeoutMs && !givenUp();
       waitedMs += kConnectSliceMs) {
    const int ready = sockets.WaitWritable(socket, kConnectSliceMs);
    if (ready != 0) {
      return ready > 0 && sockets.PendingError(socket) == 0;
    }
  }
  return false;
}

int SocketTransport::SendData(const void* data, std::size_t length) {
  const int sent = sockets.Send(socket, data, length);
  if (sent <= 0) {
    ErrorLog().Log("socket send fail2(-1)");
    return -1;
  }
  return sent;
}

int SocketTransport::ReceiveData(std::string& output) {
  output.clear();
  const int received = sockets.Receive(socket, receiveBuffer.data(), receiveBuffer.size());
  if (received <= 0) {
    ErrorLog().Log("socket read fail2(-1)");
    return -1;
  }
  output.assign(receiveBuffer.data(), static_cast<std::size_t>(received));
  std::fill_n(receiveBuffer.begin(), received, '\0');
  return received;
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
