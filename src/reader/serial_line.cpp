#include <algorithm>

#include "platform/serial_port.h"
#include "reader/reader_line.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kOpenPauseMs = 50;
constexpr std::uint32_t kLargestPort = 999;
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

ReaderOutcome SerialLine::Open(const ReaderSettings& settings) {
  if (IsOpen()) {
    return {};
  }
  clock.Sleep(kOpenPauseMs);
  ReaderOutcome outcome = ReaderOutcome::Failed(ERRORT_SerialPort);
  if (settings.comnum <= kLargestPort) {
    outcome = backend.OpenSerial(
        platform::SerialPortName(static_cast<int>(settings.comnum), settings.comname),
        settings.comport, device);
  }
  if (!outcome.Done()) {
    log.Log("Com Open Fail");
    log.Log("Com OpenCom Fail");
    return outcome;
  }
  baud = settings.comport;
  clock.Sleep(kOpenPauseMs);
  log.Log("Com Init Sucess");
  return {};
}

ReaderOutcome SerialLine::Exchange(const ReaderRequest& request, Report& answer,
                                   const AbandonTest& abandoned) {
  ReaderOutcome outcome = Begin(request);
  std::size_t received = 0;
  if (outcome.Done()) {
    outcome = Collect(request.command.serialMs, answer, received, abandoned);
  }
  if (outcome.Done() && received < kShortestAnswer) {
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  return outcome;
}

ReaderOutcome SerialLine::Stream(const ReaderRequest& request, Report&,
                                 std::span<std::uint8_t> bytes, const AbandonTest& abandoned) {
  const ReaderOutcome outcome = Begin(request);
  if (!outcome.Done()) {
    return outcome;
  }
  const auto allowedMs = static_cast<std::uint32_t>(
      kLongestStreamMs + bytes.size() * kBitsPerByte * 1000 / std::max(baud, kSlowestBaud));
  const std::uint32_t startTick = clock.TickCount();
  int silentReads = 0;
  while (!bytes.empty()) {
    if (abandoned()) {
      return ReaderOutcome::Abandoned();
    }
    const std::uint32_t passedMs = clock.TickCount() - startTick;
    if (passedMs >= allowedMs || silentReads == kLargestSilentReads) {
      return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
    }
    const auto received = Read(std::min(request.command.serialMs, allowedMs - passedMs));
    silentReads = received.empty() ? silentReads + 1 : 0;
    const std::size_t taken = std::min(received.size(), bytes.size());
    std::copy_n(received.begin(), taken, bytes.begin());
    bytes = bytes.subspan(taken);
    receiveBuffer.fill(0);  // nothing of a file stays here
  }
  return {};
}

ReaderOutcome SerialLine::Send(const ReaderRequest& request, Report&) {
  const ReaderOutcome outcome = Begin(request);
  if (outcome.Done()) {
    Read(request.command.serialMs);
  }
  return outcome;
}

ReaderOutcome SerialLine::Begin(const ReaderRequest& request) {
  if (device == nullptr) {
    log.Log("Com ClearComBuffer Fail");
    return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
  }
  Read(kClearTimeoutMs);
  if (device->Write(&request.report[1], request.length) > 0) {
    return {};
  }
  Close();
  return ReaderOutcome::Failed(ERRORT_ReaderAnswer);
}

ReaderOutcome SerialLine::Await(const ReaderCommand& command, std::uint32_t passedMs,
                                Report& answer, std::size_t& received) {
  received = 0;
  if (passedMs <= command.serialMs) {
    Collect(command.serialMs - passedMs, answer, received, Never);
  }
  return received == 0 ? ReaderOutcome::Failed(ERRORT_None) : ReaderOutcome();
}

// An answer has come when it is whole, or when nothing more comes.
ReaderOutcome SerialLine::Collect(std::uint32_t timeoutMs, Report& answer, std::size_t& received,
                                  const AbandonTest& abandoned) {
  answer.fill(0);
  std::uint32_t leftMs = timeoutMs;
  std::uint32_t firstTick = 0;
  for (received = 0; received < kAnswerSize;) {
    const auto piece = Read(leftMs);
    if (piece.empty()) {
      return {};
    }
    firstTick = received == 0 ? clock.TickCount() : firstTick;
    const std::size_t taken = std::min(piece.size(), kAnswerSize - received);
    std::copy_n(piece.begin(), taken, &answer[received]);
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

std::span<const std::uint8_t> SerialLine::Read(std::uint32_t timeoutMs) {
  const int received =
      device != nullptr ? device->Read(receiveBuffer.data(), receiveBuffer.size(), timeoutMs) : 0;
  return std::span(receiveBuffer)
      .first(std::min(static_cast<std::size_t>(std::max(received, 0)), receiveBuffer.size()));
}

}  // namespace idcardreader
