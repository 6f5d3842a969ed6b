#include "service/socket_transport.h"

#include <algorithm>

#include "support/console.h"
#include "support/gbk_text.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr char kFallbackAddress[] = "127.0.0.1";  // without settings no byte leaves this machine
constexpr std::uint16_t kFallbackPort = 7333;
constexpr std::uint32_t kConnectTimeoutMs = 1000;

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
  socketStale = false;
  socket = sockets.CreateTcpSocket();
  if (socket == platform::kInvalidSocket) {
    ErrorLog().Log("socket creat fail");
    return false;
  }
  return true;
}

void SocketTransport::SetSocketOptions(std::uint32_t timeoutMs) {
  sockets.SetTimeouts(socket, timeoutMs);
  sockets.SetDontLingerOff(socket);
}

bool SocketTransport::ConnectServer() {
  sockets.SetNonBlocking(socket, true);
  const bool connected =
      sockets.Connect(socket, serverAddress.data(), port) ||
      (sockets.WaitWritable(socket, kConnectTimeoutMs) > 0 && sockets.PendingError(socket) == 0);
  sockets.SetNonBlocking(socket, false);
  if (!connected) {
    ErrorLog().Log("socket connect fail");
    sockets.Close(socket);
    socketStale = true;
  }
  PrintLine(connected ? std::string_view(kConnected) : std::string_view(kNotConnected));
  return connected;
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
  if (socket != platform::kNoSocket && socket != platform::kInvalidSocket && !socketStale) {
    sockets.Close(socket);
  }
  socket = platform::kNoSocket;
  socketStale = false;
}

void SocketTransport::Shutdown() {
  const platform::SocketHandle current = socket;
  if (current != platform::kNoSocket && current != platform::kInvalidSocket && !socketStale) {
    sockets.Shutdown(current);
  }
}

}  // namespace idcardreader
