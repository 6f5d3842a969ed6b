#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "platform/serial_port.h"
#include "reader/reader_line.h"
#include "support/activity_log.h"

namespace idcardreader {

// The line to a reader on a serial port: the command and its parameters go out as they stand, and
// the answer is whatever comes, told by its status alone. A line that takes no command is closed,
// so that the next read opens it anew.
class SerialLine : public ReaderLine {
 public:
  explicit SerialLine(ActivityLog& log);

  void Use(std::unique_ptr<platform::CPort> opened) { port = std::move(opened); }

  ReaderOutcome Exchange(const Report& request, Report& answer, std::uint32_t timeoutMs,
                         std::size_t serialLength) override;
  ReaderOutcome Send(const Report& request, Report& answer, std::uint32_t timeoutMs,
                     std::size_t serialLength) override;
  ReaderOutcome Stream(const Report& request, Report& answer, std::size_t length, Block& bytes,
                       const AbandonTest& abandoned) override;
  int ReadReport(Report& answer, std::uint32_t timeoutMs) override;
  bool WriteCommand(const Report& request, std::size_t serialLength) override;
  std::uint32_t SearchAnswerTimeout(std::uint32_t hidTimeoutMs) const override;
  std::int32_t FailureCode() const override { return ERRORT_ReaderAnswer; }
  bool Open() const override { return port != nullptr; }
  void Close() override { port.reset(); }
  void DropStaleReports() override {}  // every command empties the line first
  void ExpectStaleReports() override {}

 private:
  void ClearComBuffer();
  int Read(std::uint32_t timeoutMs);

  ActivityLog& log;
  std::unique_ptr<platform::CPort> port;
  std::array<std::uint8_t, 64> serialFrame{};
  std::array<std::uint8_t, 1024> serialReceive{};
};

}  // namespace idcardreader
