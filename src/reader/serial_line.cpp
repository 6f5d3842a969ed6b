#include "reader/serial_line.h"

#include <algorithm>

namespace idcardreader {
namespace {

constexpr std::uint32_t kReadTimeoutMs = 200;
constexpr std::uint32_t kClearTimeoutMs = 100;
constexpr std::size_t kShortestAnswer = 2;
// A reader that drips must not hold a read for ever.
constexpr std::uint32_t kLongestAnswerMs = 1000;
constexpr std::uint32_t kLongestStreamMs = 3000;
constexpr std::uint32_t kSlowestBaud = 300;
constexpr std::uint64_t kBitsPerByte = 10;  // with start and stop bit
// A file that stops coming for two seconds does not come any more.
constexpr int kLargestSilentReads = 10;

bool Never() { return false; }

}  // namespace

void SerialLine::Use(std::unique_ptr<platform::CPort> opened, std::uint32_t baudRate) {
  port = std::move(opened);
  baud = baudRate;
}

ReaderOutcome SerialLine::Exchange(const ReaderRequest& request, Report& answer, std::uint32_t,
                                   const AbandonTest& abandoned) {
  ReaderOutcome outcome = Begin(request);
  std::size_t received = 0;
  if (outcome.Done()) {
    outcome = Collect(answer, kReadTimeoutMs, received, abandoned);
  }
  if (outcome.Done() && received < kShortestAnswer) {
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  return outcome;
}

ReaderOutcome SerialLine::Stream(const ReaderRequest& request, Report&, std::size_t length,
                                 Block& bytes, const AbandonTest& abandoned) {
  bytes.clear();
  bytes.reserve(length);
  const ReaderOutcome outcome = Begin(request);
  if (!outcome.Done()) {
    return outcome;
  }
  const auto allowedMs = static_cast<std::uint32_t>(
      kLongestStreamMs + length * kBitsPerByte * 1000 / std::max(baud, kSlowestBaud));
  const std::uint32_t startTick = clock.TickCount();
  int silentReads = 0;
  while (bytes.size() < length) {
    if (abandoned()) {
      return ReaderOutcome::Abandoned();
    }
    const std::uint32_t passedMs = clock.TickCount() - startTick;
    if (passedMs >= allowedMs || silentReads == kLargestSilentReads) {
      return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
    }
    const std::size_t received = Read(std::min(kReadTimeoutMs, allowedMs - passedMs));
    silentReads = received == 0 ? silentReads + 1 : 0;
    const std::size_t taken = std::min(received, length - bytes.size());
    bytes.insert(bytes.end(), serialReceive.begin(),
                 serialReceive.begin() + static_cast<std::ptrdiff_t>(taken));
    serialReceive.fill(0);  // nothing of a file stays here
  }
  return {};
}

ReaderOutcome SerialLine::Send(const ReaderRequest& request, Report&, std::uint32_t timeoutMs) {
  const ReaderOutcome outcome = Begin(request);
  if (outcome.Done()) {
    Read(timeoutMs);
  }
  return outcome;
}

ReaderOutcome SerialLine::Begin(const ReaderRequest& request) {
  ClearComBuffer();
  std::copy_n(request.report.begin() + 1, serialFrame.size(), serialFrame.begin());
  const auto count = static_cast<std::uint32_t>(std::min(request.length, serialFrame.size()));
  if (port != nullptr && port->WriteData(serialFrame.data(), count) > 0) {
    return {};
  }
  Close();
  return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
}

ReaderOutcome SerialLine::Await(Report& answer, std::uint32_t timeoutMs, std::size_t& received) {
  const ReaderOutcome outcome = Collect(answer, timeoutMs, received, Never);
  return received == 0 ? ReaderOutcome::Failed(ERRORT_None) : outcome;
}

std::uint32_t SerialLine::SearchTimeout(std::uint32_t) const { return kReadTimeoutMs; }

// An answer has come when it is whole, or when nothing more comes.
ReaderOutcome SerialLine::Collect(Report& answer, std::uint32_t timeoutMs, std::size_t& received,
                                  const AbandonTest& abandoned) {
  answer.fill(0);
  received = 0;
  std::uint32_t leftMs = timeoutMs;
  std::uint32_t firstTick = 0;
  while (received < kAnswerSize) {
    const std::size_t count = Read(leftMs);
    if (count == 0) {
      return {};
    }
    firstTick = received == 0 ? clock.TickCount() : firstTick;
    const std::size_t taken = std::min(count, kAnswerSize - received);
    std::copy_n(serialReceive.begin(), taken,
                answer.begin() + static_cast<std::ptrdiff_t>(received));
    received += taken;
    const std::uint32_t passedMs = clock.TickCount() - firstTick;
    if (passedMs >= kLongestAnswerMs) {
      return {};
    }
    leftMs = std::min(timeoutMs, kLongestAnswerMs - passedMs);
    if (abandoned()) {
      return ReaderOutcome::Abandoned();
    }
  }
  return {};
}

void SerialLine::ClearComBuffer() {
  if (port == nullptr) {
    log.Log("Com ClearComBuffer Fail");
    return;
  }
  Read(kClearTimeoutMs);
}

std::size_t SerialLine::Read(std::uint32_t timeoutMs) {
  if (port == nullptr) {
    return 0;
  }
  const std::int32_t received = port->ReadData(
      serialReceive.data(), static_cast<std::uint32_t>(serialReceive.size()), timeoutMs);
  return std::min(static_cast<std::size_t>(std::max(received, 0)), serialReceive.size());
}

}  // namespace idcardreader
