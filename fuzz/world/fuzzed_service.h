#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "base/script.h"
#include "platform/socket.h"
#include "world/virtual_clock.h"

namespace fuzz {

// The network and the service behind it. With each connection and each message the script says
// whether they behave. Each connection has a person of its own, so that nobody else's data can pass
// for theirs.
class FuzzedService : public idcardreader::platform::SocketApi {
 public:
  using Handle = idcardreader::platform::SocketHandle;

  FuzzedService(Script& script, VirtualClock& clock) : script(script), clock(clock) {}

  // True when the text is part of what the present connection has carried, or may be.
  bool HasCarried(const std::string& text) const {
    return carriesNoise || contents.find(text) != std::string::npos;
  }

  Start StartSockets() override;
  void StopSockets() override { --users; }
  Handle CreateTcpSocket() override;
  void SetTimeouts(Handle, std::uint32_t milliseconds) override { timeoutMs = milliseconds; }
  void SetDontLingerOff(Handle) override {}
  bool SetNonBlocking(Handle, bool) override { return true; }
  bool Connect(Handle socket, const char* address, std::uint16_t port) override;
  int WaitWritable(Handle, std::uint32_t milliseconds) override;
  int PendingError(Handle) override { return static_cast<int>(script.Choice(2)); }
  int Send(Handle socket, const void* data, std::size_t length) override;
  int Receive(Handle socket, void* data, std::size_t capacity) override;
  void Shutdown(Handle) override { shut = true; }
  void Close(Handle socket) override;
  std::string ResolveHostName(const std::string&) override;

  // Sockets and starts that were not given back.
  int Left() const { return users + open; }

 private:
  std::string GoodAnswer(const std::string& message);
  std::string Person();
  std::string ContentAnswer(const std::string& content);

  Script& script;
  VirtualClock& clock;
  std::deque<std::string> pieces;  // an empty one is the end of the connection
  std::string contents;
  std::uint32_t timeoutMs = 0;
  Handle last = 0;
  int users = 0;
  int open = 0;
  int uploads = 0;
  bool shut = false;
  bool carriesNoise = false;  // which may be read as anything
};

}  // namespace fuzz
