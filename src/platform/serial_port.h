#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace idcardreader::platform {

// A serial line. One operation at a time.
class CPort {
 public:
  // The bytes that have arrived, at most maximum of them; waits for the first one no longer than
  // timeoutMs. The count, or -1 when nothing came or the line failed.
  virtual std::int32_t ReadData(std::uint8_t* buffer, std::uint32_t maximum,
                                std::uint32_t timeoutMs) = 0;
  // The number of bytes that the line took, which a slow one may leave below count; -1 when it
  // failed. Ends by itself, whatever the line does.
  virtual std::int32_t WriteData(const std::uint8_t* buffer, std::uint32_t count) = 0;
  virtual ~CPort() = default;
};

// A serial port of this machine: 8 data bits, no parity, 1 stop bit, for this process alone.
class ComAccess : public CPort {
 public:
  ComAccess();
  ~ComAccess() override;
  ComAccess(const ComAccess&) = delete;
  ComAccess& operator=(const ComAccess&) = delete;

  // Opens the port anew. At 115200 baud a read gathers what follows within about a millisecond, and
  // a write that is stuck is given up as failed; at any other rate a read takes what is there, and
  // a write gets a second and 100 ms a byte.
  bool Open(const std::string& portName, std::uint32_t baud);
  std::int32_t ReadData(std::uint8_t* buffer, std::uint32_t maximum,
                        std::uint32_t timeoutMs) override;
  std::int32_t WriteData(const std::uint8_t* buffer, std::uint32_t count) override;

  // Why Open failed, at most 255 bytes: the operation, the system's error code and the system's words
  // for it. The operations have the names that service people know from Windows, on every platform.
  // Empty when nothing has failed yet.
  std::string LastErrorText() const;

 private:
  struct State;
  std::unique_ptr<State> state;
};

// The system's name of a port: \\.\COM7 for number 7 on Windows; elsewhere the name that is
// configured when it is an absolute path, else /dev/ttyS6.
std::string SerialPortName(int comnum, const std::string& comname);

}  // namespace idcardreader::platform
