#include "reader/hid_line.h"

#include <algorithm>

#include "support/logs.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kStreamTimeoutMs = 100;
constexpr std::uint32_t kLongestDropMs = 50;
// An abandoned file goes on coming. It is over when this long nothing has come.
constexpr std::uint32_t kQuietMs = 60;
constexpr std::uint32_t kLongestQuietWaitMs = 500;

}  // namespace

ReaderOutcome HidLine::Exchange(const ReaderRequest& request, Report& answer,
                                std::uint32_t timeoutMs, const AbandonTest&) {
  log.Log("HID writeAndReadData");
  ReaderOutcome outcome = Begin(request);
  std::size_t received = 0;
  if (outcome.Done()) {
    outcome = Await(answer, timeoutMs, received);
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
  outcome = Await(answer, timeoutMs, received);
  if (outcome.Done() && (!EchoMatches(request.report, answer) || received != kAnswerSize)) {
    return ReaderOutcome::Failed(ERRORT_None);
  }
  return outcome;
}

ReaderOutcome HidLine::Stream(const ReaderRequest& request, Report& answer, std::size_t length,
                              Block& bytes, const AbandonTest& abandoned) {
  bytes.assign(length, 0);
  log.Log("HID writeAndReadData1");
  ReaderOutcome outcome = Begin(request);
  for (std::size_t offset = 0; offset < length && outcome.Done(); offset += kStreamStep) {
    if (abandoned()) {
      streamAbandoned = staleReports = true;
      return ReaderOutcome::Abandoned();
    }
    std::size_t received = 0;
    outcome = Await(answer, kStreamTimeoutMs, received);
    // The reader streams without gaps: a report that did not come still counts as a step, with what
    // the buffer holds. The service refuses such a file.
    staleReports = staleReports || received != kAnswerSize;
    std::copy_n(answer.begin(), std::min(kStreamStep, length - offset),
                bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  return outcome;
}

ReaderOutcome HidLine::Send(const ReaderRequest& request, Report& answer, std::uint32_t timeoutMs) {
  ReaderOutcome outcome = Begin(request);
  std::size_t received = 0;
  if (outcome.Done()) {
    outcome = Await(answer, timeoutMs, received);
    staleReports = staleReports || received != kAnswerSize || answer[0] != request.report[1];
  }
  return outcome;
}

ReaderOutcome HidLine::Begin(const ReaderRequest& request) {
  return device != nullptr && device->Write(request.report.data(), request.report.size()) != -1
             ? ReaderOutcome()
             : ReaderOutcome::Failed(ERRORT_ReaderLost);
}

ReaderOutcome HidLine::Await(Report& answer, std::uint32_t timeoutMs, std::size_t& received) {
  const int count = Read(answer, timeoutMs);
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
