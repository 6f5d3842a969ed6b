#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace idcardreader::platform {

using SocketHandle = std::intptr_t;
inline constexpr SocketHandle kInvalidSocket = -1;  // what a failed creation yields

// The network: blocking IPv4 TCP. Every call is one system call or a bounded few; none
// raises SIGPIPE, and calls that a signal interrupts are taken up again. A stand-in can take its
// place in tests.
class SocketApi {
 public:
  enum class Start { ok, failed, wrong_version };

  virtual ~SocketApi() = default;
  // Asks the system for sockets (Winsock 2.2; on other systems there is nothing to start). Each
  // Start::ok is paired with one StopSockets.
  virtual Start StartSockets() = 0;
  virtual void StopSockets() = 0;
  // kInvalidSocket on failure. The handle is not inherited by child processes. Never 0.
  virtual SocketHandle CreateTcpSocket() = 0;
  virtual void SetTimeouts(SocketHandle socket, std::uint32_t milliseconds) = 0;
  // What SO_DONTLINGER = 0 means on Windows: closing gives up unsent data at once, never blocks.
  virtual void SetDontLingerOff(SocketHandle socket) = 0;
  virtual bool SetNonBlocking(SocketHandle socket, bool on) = 0;
  // True when connected at once; address is dotted IPv4 text. False also stands for "under way".
  virtual bool Connect(SocketHandle socket, const char* address, std::uint16_t port) = 0;
  // 1 ready (connected or failed), 0 time-out, -1 error.
  virtual int WaitWritable(SocketHandle socket, std::uint32_t milliseconds) = 0;
  // The pending error of the socket (SO_ERROR), 0 for none, another value when it cannot be asked.
  virtual int PendingError(SocketHandle socket) = 0;
  // Number of bytes, 0 when the peer closed (Receive), negative on error or time-out.
  virtual int Send(SocketHandle socket, const void* data, std::size_t length) = 0;
  virtual int Receive(SocketHandle socket, void* data, std::size_t capacity) = 0;
  // Ends sends and receives that other threads are blocked in; the handle stays valid.
  virtual void Shutdown(SocketHandle socket) = 0;
  virtual void Close(SocketHandle socket) = 0;
  // The first IPv4 address of a host name in dotted form (gethostbyname), empty on failure. Starts
  // and stops the sockets by itself. Reserved names fail without asking anybody: they exist nowhere
  // by definition, and a machine without a network would wait many seconds for that answer.
  virtual std::string ResolveHostName(const std::string& name) = 0;
};

SocketApi& SystemSockets();

// True for four decimal numbers from 0 to 255 with dots between them, and nothing else.
bool IsDottedAddress(std::string_view text);

// True for names that no resolver is to be asked: those under ".invalid", empty ones, and ones with
// a zero byte in them, of which the system would see the first part only.
bool IsReservedHostName(std::string_view name);

}  // namespace idcardreader::platform
