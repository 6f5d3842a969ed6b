#include "reader/hid_line.h"

#include <algorithm>

#include "support/hex_text.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kStreamTimeoutMs = 100;
constexpr int kLargestStaleCount = 256;

}  // namespace

HidLine::HidLine(ActivityLog& log) : log(log) {}

ReaderOutcome HidLine::Exchange(const Report& request, Report& answer, std::uint32_t timeoutMs,
                                std::size_t) {
  log.Log("HID writeAndReadData");
  if (!Write(request)) {
    return ReaderOutcome::Failed(ERRORT_ReaderLost);
  }
  int received = Read(answer, timeoutMs);
  if (received < 0) {
    return ReaderOutcome::Failed(ERRORT_ReaderLost);
  }
  if (received != static_cast<int>(kAnswerSize)) {
    staleReports = true;
    ErrorLog().Log("writeAndReadData-write:" + HexText(request));
    ErrorLog().Log("writeAndReadData-read:" + HexText(answer));
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  if (EchoMatches(request, answer)) {
    return {};
  }
  received = Read(answer, timeoutMs);
  if (received < 0) {
    return ReaderOutcome::Failed(ERRORT_ReaderLost);
  }
  if (EchoMatches(request, answer) && received == static_cast<int>(kAnswerSize)) {
    return {};
  }
  return ReaderOutcome::Failed(ERRORT_None);
}

ReaderOutcome HidLine::Send(const Report& request, Report& answer, std::uint32_t timeoutMs,
                            std::size_t) {
  if (!Write(request)) {
    return ReaderOutcome::Failed(ERRORT_ReaderLost);
  }
  const int received = Read(answer, timeoutMs);
  if (received < 0) {
    return ReaderOutcome::Failed(ERRORT_ReaderLost);
  }
  staleReports =
      staleReports || received != static_cast<int>(kAnswerSize) || answer[0] != request[1];
  return {};
}

ReaderOutcome HidLine::Stream(const Report& request, Report& answer, std::size_t length,
                              Block& bytes, const AbandonTest& abandoned) {
  bytes.assign(length, 0);
  log.Log("HID writeAndReadData1");
  if (!Write(request)) {
    return ReaderOutcome::Failed(ERRORT_ReaderLost);
  }
  for (std::size_t offset = 0; offset < length; offset += kStreamStep) {
    if (abandoned()) {
      staleReports = true;
      return ReaderOutcome::Abandoned();
    }
    const int received = Read(answer, kStreamTimeoutMs);
    if (received < 0) {
      return ReaderOutcome::Failed(ERRORT_ReaderLost);
    }
    // The reader streams without gaps: a report that did not come still counts as a step, with what
    // the buffer holds. The service refuses such a file.
    staleReports = staleReports || received != static_cast<int>(kAnswerSize);
    std::copy_n(answer.begin(), std::min(kStreamStep, length - offset),
                bytes.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  return {};
}

int HidLine::ReadReport(Report& answer, std::uint32_t timeoutMs) { return Read(answer, timeoutMs); }

bool HidLine::WriteCommand(const Report& request, std::size_t) { return Write(request); }

void HidLine::DropStaleReports() {
  Report dropped;
  for (int count = 0; staleReports && count < kLargestStaleCount; ++count) {
    staleReports = Read(dropped, 0) > 0;
  }
  staleReports = false;
}

bool HidLine::Write(const Report& request) {
  return device != nullptr && device->Write(request.data(), request.size()) != -1;
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
