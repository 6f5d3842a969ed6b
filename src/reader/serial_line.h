#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "platform/clock.h"
#include "platform/serial_port.h"
#include "reader/reader_line.h"
#include "support/logs.h"

namespace idcardreader {

// The line to a reader on a serial port: the command and its parameters go out as they stand, and
// the answer is whatever comes, told by its status alone. A line that takes no command is closed,
// so that the next read opens it anew.
class SerialLine : public ReaderLine {
 public:
  SerialLine(ActivityLog& log, platform::Clock& clock) : log(log), clock(clock) {}

  void Use(std::unique_ptr<platform::CPort> opened, std::uint32_t baudRate);

  bool IsOpen() const override { return port != nullptr; }
  void Close() override { port.reset(); }
  ReaderOutcome Exchange(const ReaderRequest& request, Report& answer, std::uint32_t timeoutMs,
                         const AbandonTest& abandoned) override;
  ReaderOutcome Stream(const ReaderRequest& request, Report& answer, std::size_t length,
                       Block& bytes, const AbandonTest& abandoned) override;
  ReaderOutcome Send(const ReaderRequest& request, Report& answer,
                     std::uint32_t timeoutMs) override;
  ReaderOutcome Begin(const ReaderRequest& request) override;
  ReaderOutcome Await(Report& answer, std::uint32_t timeoutMs, std::size_t& received) override;
  std::uint32_t SearchTimeout(std::uint32_t usualMs) const override;
  bool TellsOfCards() const override { return false; }
  void DropReports() override { staleReports = false; }  // every command empties the line first

 private:
  ReaderOutcome Collect(Report& answer, std::uint32_t timeoutMs, std::size_t& received,
                        const AbandonTest& abandoned);
  void ClearComBuffer();
  // The number of bytes received, 0 when none came: a line does not tell silence from failure.
  std::size_t Read(std::uint32_t timeoutMs);

  ActivityLog& log;
  platform::Clock& clock;
  std::unique_ptr<platform::CPort> port;
  std::uint32_t baud = 0;
  std::array<std::uint8_t, 64> serialFrame{};
  std::array<std::uint8_t, 1024> serialReceive{};
};

}  // namespace idcardreader
