#pragma once

#include <memory>

#include "platform/clock.h"
#include "reader/reader_device.h"
#include "reader/reader_line.h"
#include "support/logs.h"

namespace idcardreader {

// The line to a USB reader: one report each way; answers echo the command code.
class HidLine : public ReaderLine {
 public:
  HidLine(ActivityLog& log, platform::Clock& clock) : log(log), clock(clock) {}

  // The device of the next exchanges.
  std::unique_ptr<ReaderDevice>& Device() { return device; }

  bool IsOpen() const override { return device != nullptr; }
  void Close() override { device.reset(); }
  ReaderOutcome Exchange(const ReaderRequest& request, Report& answer, std::uint32_t timeoutMs,
                         const AbandonTest& abandoned) override;
  ReaderOutcome Stream(const ReaderRequest& request, Report& answer, std::size_t length,
                       Block& bytes, const AbandonTest& abandoned) override;
  ReaderOutcome Send(const ReaderRequest& request, Report& answer,
                     std::uint32_t timeoutMs) override;
  ReaderOutcome Begin(const ReaderRequest& request) override;
  ReaderOutcome Await(Report& answer, std::uint32_t timeoutMs, std::size_t& received) override;
  std::uint32_t SearchTimeout(std::uint32_t usualMs) const override { return usualMs; }
  bool TellsOfCards() const override { return true; }
  void DropReports() override;

 private:
  int Read(Report& answer, std::uint32_t timeoutMs);
  bool EchoMatches(const Report& request, const Report& answer);

  ActivityLog& log;
  platform::Clock& clock;
  std::unique_ptr<ReaderDevice> device;
  bool streamAbandoned = false;
};

}  // namespace idcardreader
