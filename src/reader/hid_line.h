#pragma once

#include <memory>

#include "reader/reader_device.h"
#include "reader/reader_line.h"
#include "support/activity_log.h"

namespace idcardreader {

// The line to a USB reader: one report each way; answers echo the command code.
class HidLine : public ReaderLine {
 public:
  explicit HidLine(ActivityLog& log);

  // The device of the next exchanges; its reports of before count as stale.
  std::unique_ptr<ReaderDevice>& Device() { return device; }

  ReaderOutcome Exchange(const Report& request, Report& answer, std::uint32_t timeoutMs,
                         std::size_t serialLength) override;
  ReaderOutcome Send(const Report& request, Report& answer, std::uint32_t timeoutMs,
                     std::size_t serialLength) override;
  ReaderOutcome Stream(const Report& request, Report& answer, std::size_t length, Block& bytes,
                       const AbandonTest& abandoned) override;
  int ReadReport(Report& answer, std::uint32_t timeoutMs) override;
  bool WriteCommand(const Report& request, std::size_t serialLength) override;
  std::uint32_t SearchAnswerTimeout(std::uint32_t hidTimeoutMs) const override {
    return hidTimeoutMs;
  }
  std::int32_t FailureCode() const override { return ERRORT_ReaderLost; }
  bool Open() const override { return device != nullptr; }
  void Close() override { device.reset(); }
  void DropStaleReports() override;
  void ExpectStaleReports() override { staleReports = true; }

 private:
  bool Write(const Report& request);
  int Read(Report& answer, std::uint32_t timeoutMs);
  bool EchoMatches(const Report& request, const Report& answer);

  ActivityLog& log;
  std::unique_ptr<ReaderDevice> device;
  bool staleReports = false;
};

}  // namespace idcardreader
