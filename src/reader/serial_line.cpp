#include "reader/serial_line.h"

#include <algorithm>

namespace idcardreader {
namespace {

constexpr std::uint32_t kReadTimeoutMs = 200;
constexpr std::uint32_t kClearTimeoutMs = 100;
constexpr std::size_t kFileCommandLength = 4;
constexpr std::size_t kShortestAnswer = 2;
// A file that stops coming for two seconds does not come any more.
constexpr int kLargestSilentReads = 10;

}  // namespace

SerialLine::SerialLine(ActivityLog& log) : log(log) {}

ReaderOutcome SerialLine::Exchange(const Report& request, Report& answer, std::uint32_t,
                                   std::size_t serialLength) {
  if (!WriteCommand(request, serialLength) ||
      ReadReport(answer, kReadTimeoutMs) < static_cast<int>(kShortestAnswer)) {
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  return {};
}

ReaderOutcome SerialLine::Send(const Report& request, Report&, std::uint32_t timeoutMs,
                               std::size_t serialLength) {
  if (!WriteCommand(request, serialLength)) {
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  Read(timeoutMs);
  return {};
}

ReaderOutcome SerialLine::Stream(const Report& request, Report&, std::size_t length, Block& bytes,
                                 const AbandonTest& abandoned) {
  bytes.clear();
  bytes.reserve(length);
  if (!WriteCommand(request, kFileCommandLength)) {
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  int silentReads = 0;
  while (bytes.size() < length) {
    if (abandoned()) {
      return ReaderOutcome::Abandoned();
    }
    const int received = Read(kReadTimeoutMs);
    if (received <= 0) {
      if (++silentReads == kLargestSilentReads) {
        return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
      }
      continue;
    }
    silentReads = 0;
    const std::size_t taken = std::min(static_cast<std::size_t>(received), length - bytes.size());
    bytes.insert(bytes.end(), serialReceive.begin(),
                 serialReceive.begin() + static_cast<std::ptrdiff_t>(taken));
  }
  return {};
}

int SerialLine::ReadReport(Report& answer, std::uint32_t timeoutMs) {
  answer.fill(0);
  std::size_t filled = 0;
  while (filled < kAnswerSize) {
    const int received = Read(timeoutMs);
    if (received <= 0) {
      return filled == 0 ? received : static_cast<int>(filled);
    }
    const std::size_t taken = std::min(static_cast<std::size_t>(received), kAnswerSize - filled);
    std::copy_n(serialReceive.begin(), taken, answer.begin() + static_cast<std::ptrdiff_t>(filled));
    filled += taken;
  }
  return static_cast<int>(filled);
}

bool SerialLine::WriteCommand(const Report& request, std::size_t serialLength) {
  ClearComBuffer();
  std::copy_n(request.begin() + 1, serialFrame.size(), serialFrame.begin());
  const auto count = static_cast<std::uint32_t>(std::min(serialLength, serialFrame.size()));
  if (port != nullptr && port->WriteData(serialFrame.data(), count) > 0) {
    return true;
  }
  port.reset();
  return false;
}

std::uint32_t SerialLine::SearchAnswerTimeout(std::uint32_t) const { return kReadTimeoutMs; }

void SerialLine::ClearComBuffer() {
  if (port == nullptr) {
    log.Log("Com ClearComBuffer Fail");
    return;
  }
  Read(kClearTimeoutMs);
}

int SerialLine::Read(std::uint32_t timeoutMs) {
  if (port == nullptr) {
    return -1;
  }
  const std::int32_t received = port->ReadData(
      serialReceive.data(), static_cast<std::uint32_t>(serialReceive.size()), timeoutMs);
  return std::min(received, static_cast<std::int32_t>(serialReceive.size()));
}

}  // namespace idcardreader
