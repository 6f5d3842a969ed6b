#include <algorithm>

#include "reader/reader_line.h"
#include "support/logs.h"
#include "support/text.h"

namespace idcardreader {
namespace {

// A report of a card file is all data; this many bytes of it belong to the file.
constexpr std::size_t kStreamStep = 60;
constexpr std::uint32_t kLongestDropMs = 50;
// An abandoned file goes on coming. It is over when this long nothing has come.
constexpr std::uint32_t kQuietMs = 60;
constexpr std::uint32_t kLongestQuietWaitMs = 500;

}  // namespace

ReaderOutcome HidLine::Open(const ReaderSettings& settings) {
  const auto vendorId = static_cast<std::uint16_t>(settings.vid);
  const auto productId = static_cast<std::uint16_t>(settings.pid);
  if (vendorId == 0 || productId == 0) {
    // The system takes a zero for any device: whatever comes first would be written to.
    return ReaderOutcome::Failed(ERRORT_NoReader);
  }
  return backend.OpenHid(vendorId, productId, device);
}

ReaderOutcome HidLine::Exchange(const ReaderRequest& request, Report& answer, const AbandonTest&) {
  log.Log("HID writeAndReadData");
  ReaderOutcome outcome = Begin(request);
  std::size_t received = 0;
  if (outcome.Done()) {
    outcome = Await(request.command, 0, answer, received);
  }
  if (!outcome.Done()) {
    return outcome;
  }
  if (received != kAnswerSize) {
    staleReports = true;
    ErrorLog().Log("writeAndReadData-write:" + HexText(request.report));
    ErrorLog().Log("writeAndReadData-read:" + HexText(answer));
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  if (EchoMatches(request.report, answer)) {
    return {};
  }
  outcome = Await(request.command, 0, answer, received);
  if (outcome.Done() && (!EchoMatches(request.report, answer) || received != kAnswerSize)) {
    return ReaderOutcome::Failed(ERRORT_None);
  }
  return outcome;
}

ReaderOutcome HidLine::Stream(const ReaderRequest& request, Report& answer,
                              std::span<std::uint8_t> bytes, const AbandonTest& abandoned) {
  log.Log("HID writeAndReadData1");
  ReaderOutcome outcome = Begin(request);
  while (!bytes.empty() && outcome.Done()) {
    if (abandoned()) {
      streamAbandoned = staleReports = true;
      return ReaderOutcome::Abandoned();
    }
    std::size_t received = 0;
    outcome = Await(request.command, 0, answer, received);
    // The reader streams without gaps: a report that did not come still counts as a step, with what
    // the buffer holds. The service refuses such a file.
    staleReports = staleReports || received != kAnswerSize;
    const std::size_t step = std::min(kStreamStep, bytes.size());
    std::copy_n(answer.begin(), step, bytes.begin());
    bytes = bytes.subspan(step);
  }
  return outcome;
}

ReaderOutcome HidLine::Send(const ReaderRequest& request, Report& answer) {
  ReaderOutcome outcome = Begin(request);
  std::size_t received = 0;
  if (outcome.Done()) {
    outcome = Await(request.command, 0, answer, received);
    staleReports = staleReports || received != kAnswerSize || answer[0] != request.command.code;
  }
  return outcome;
}

ReaderOutcome HidLine::Begin(const ReaderRequest& request) {
  return device != nullptr && device->Write(request.report.data(), request.report.size()) != -1
             ? ReaderOutcome()
             : ReaderOutcome::Failed(ERRORT_ReaderLost);
}

ReaderOutcome HidLine::Await(const ReaderCommand& command, std::uint32_t passedMs, Report& answer,
                             std::size_t& received) {
  const int count = passedMs <= command.usbMs ? Read(answer, command.usbMs - passedMs) : 0;
  received = static_cast<std::size_t>(std::max(count, 0));
  return count < 0 ? ReaderOutcome::Failed(ERRORT_ReaderLost) : ReaderOutcome();
}

void HidLine::DropReports() {
  Report dropped;
  std::uint32_t startTick = clock.TickCount();
  while (streamAbandoned && clock.TickCount() - startTick < kLongestQuietWaitMs) {
    streamAbandoned = Read(dropped, kQuietMs) > 0;
  }
  startTick = clock.TickCount();
  while (Read(dropped, 0) > 0 && clock.TickCount() - startTick < kLongestDropMs) {
  }
  staleReports = streamAbandoned = false;
}

int HidLine::Read(Report& answer, std::uint32_t timeoutMs) {
  return device != nullptr ? device->Read(answer.data(), answer.size(), timeoutMs) : -1;
}

bool HidLine::EchoMatches(const Report& request, const Report& answer) {
  if (answer[0] == request[1]) {
    return true;
  }
  staleReports = true;
  ErrorLog().Log("output:" + HexText(request));
  ErrorLog().Log("intput:" + HexText(answer));
  return false;
}

}  // namespace idcardreader
