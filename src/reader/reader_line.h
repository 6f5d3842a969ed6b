#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "config/conf_file.h"
#include "platform/clock.h"
#include "reader/reader_backend.h"
#include "support/logs.h"

namespace idcardreader {

// Asked whether an operation has become pointless.
using AbandonTest = std::function<bool()>;

// What the reader can be asked for, and how long its answer may take: a report on USB, the next byte
// on a serial line.
struct ReaderCommand {
  std::uint8_t code;
  std::uint32_t usbMs;
  std::uint32_t serialMs;
};

// Report id (always 0), command code, parameters. What a command does not write keeps the bytes of
// the one before.
inline constexpr std::size_t kReportSize = 65;
using Report = std::array<std::uint8_t, kReportSize>;

// A command to be sent. On a serial line it is as long as its code and its parameters.
struct ReaderRequest {
  ReaderCommand command{};
  Report report{};
  std::size_t length = 0;
};

// A complete answer: echo of the command code, status, data. It is read into a report's buffer,
// which has one byte more.
inline constexpr std::size_t kAnswerSize = 64;
inline constexpr std::size_t kAnswerDataOffset = 2;
using Answer = std::array<std::uint8_t, kAnswerSize>;

// How commands and answers travel between us and a reader. The answer buffer keeps what it held
// where nothing new came.
class ReaderLine {
 public:
  ReaderLine(ReaderBackend& backend, ActivityLog& log, platform::Clock& clock)
      : backend(backend), log(log), clock(clock) {}
  virtual ~ReaderLine() = default;

  virtual ReaderOutcome Open(const ReaderSettings& settings) = 0;
  bool IsOpen() const { return device != nullptr; }
  void Close() { device.reset(); }

  // One command and its answer, without a look at the status byte.
  virtual ReaderOutcome Exchange(const ReaderRequest& request, Report& answer,
                                 const AbandonTest& abandoned) = 0;
  // A command whose answer is a stream of as many bytes as there is room for.
  virtual ReaderOutcome Stream(const ReaderRequest& request, Report& answer,
                               std::span<std::uint8_t> bytes, const AbandonTest& abandoned) = 0;
  // A command whose answer nobody looks at.
  virtual ReaderOutcome Send(const ReaderRequest& request, Report& answer) = 0;

  // The halves of an exchange with a reader that also reports by itself. received is 0 when nothing
  // came in what is left of the command's time; a serial line then fails without a code.
  virtual ReaderOutcome Begin(const ReaderRequest& request) = 0;
  virtual ReaderOutcome Await(const ReaderCommand& command, std::uint32_t passedMs, Report& answer,
                              std::size_t& received) = 0;

  // Throws away what an earlier exchange left on its way. A late answer must never be taken for
  // that of the next card.
  virtual void DropReports() = 0;

  // What is on its way from now on may belong to nobody's command.
  bool staleReports = false;

 protected:
  ReaderBackend& backend;
  ActivityLog& log;
  platform::Clock& clock;
  std::unique_ptr<ReaderDevice> device;
};

// The line to a USB reader: one report each way; answers echo the command code.
class HidLine : public ReaderLine {
 public:
  using ReaderLine::ReaderLine;

  // Opens the reader anew.
  ReaderOutcome Open(const ReaderSettings& settings) override;
  ReaderOutcome Exchange(const ReaderRequest& request, Report& answer,
                         const AbandonTest& abandoned) override;
  ReaderOutcome Stream(const ReaderRequest& request, Report& answer, std::span<std::uint8_t> bytes,
                       const AbandonTest& abandoned) override;
  ReaderOutcome Send(const ReaderRequest& request, Report& answer) override;
  ReaderOutcome Begin(const ReaderRequest& request) override;
  ReaderOutcome Await(const ReaderCommand& command, std::uint32_t passedMs, Report& answer,
                      std::size_t& received) override;
  void DropReports() override;

 private:
  int Read(Report& answer, std::uint32_t timeoutMs);
  bool EchoMatches(const Report& request, const Report& answer);

  bool streamAbandoned = false;
};

// The line to a reader on a serial port: the command and its parameters go out as they stand, and
// the answer is whatever comes, told by its status alone. A line that takes no command is closed,
// so that the next read opens it anew.
class SerialLine : public ReaderLine {
 public:
  using ReaderLine::ReaderLine;

  // Nothing to do while it is open.
  ReaderOutcome Open(const ReaderSettings& settings) override;
  ReaderOutcome Exchange(const ReaderRequest& request, Report& answer,
                         const AbandonTest& abandoned) override;
  ReaderOutcome Stream(const ReaderRequest& request, Report& answer, std::span<std::uint8_t> bytes,
                       const AbandonTest& abandoned) override;
  ReaderOutcome Send(const ReaderRequest& request, Report& answer) override;
  ReaderOutcome Begin(const ReaderRequest& request) override;
  ReaderOutcome Await(const ReaderCommand& command, std::uint32_t passedMs, Report& answer,
                      std::size_t& received) override;
  void DropReports() override { staleReports = false; }  // every command empties the line first

 private:
  ReaderOutcome Collect(std::uint32_t timeoutMs, Report& answer, std::size_t& received,
                        const AbandonTest& abandoned);
  // What came within the time, until the next call.
  std::span<const std::uint8_t> Read(std::uint32_t timeoutMs);

  std::uint32_t baud = 0;
  std::array<std::uint8_t, 1024> receiveBuffer{};
};

}  // namespace idcardreader
