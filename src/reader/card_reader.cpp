#include "reader/card_reader.h"

#include <algorithm>
#include <mutex>

#include "support/hex_text.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kCardTimeoutMs = 2000;
constexpr std::uint32_t kCodeTimeoutMs = 1000;
constexpr std::uint32_t kTypeATimeoutMs = 100;
constexpr std::uint32_t kBeepTimeoutMs = 100;

constexpr std::uint32_t kOpened = 1;
constexpr std::uint32_t kLost = 3;

constexpr std::uint32_t kIdentityCardKind = 16;
constexpr std::size_t kIdentityCardUidSize = 8;
constexpr std::size_t kTypeAUidOffset = 4;
constexpr std::size_t kLongestUid = kAnswerSize - kTypeAUidOffset;

Answer AnswerOf(const Report& report) {
  Answer answer;
  std::copy_n(report.begin(), answer.size(), answer.begin());
  return answer;
}

}  // namespace

CardReader::CardReader(ReaderDoor& door, ActivityLog& log) : log(log), door(door), hidLine(log) {}

void CardReader::Configure(const ReaderSettings& settings) {
  const std::lock_guard guard(deviceLock);
  vendorId = static_cast<std::uint16_t>(settings.vid);
  productId = static_cast<std::uint16_t>(settings.pid);
}

ReaderOutcome CardReader::OpenDevice(bool& newlyOpened) {
  const std::lock_guard guard(deviceLock);
  newlyOpened = false;
  {
    const std::lock_guard info(infoLock);
    if (deviceReady) {
      Line().DropStaleReports();
      return {};
    }
  }
  ReaderOutcome outcome = OpenPort();
  if (outcome.Done()) {
    Line().DropStaleReports();
    outcome = Identify();
  }
  newlyOpened = outcome.Done();
  return outcome;
}

ReaderOutcome CardReader::OpenPort() {
  {
    const std::lock_guard info(infoLock);
    if (useSerialPort) {
      return ReaderOutcome::Failed(ERRORT_SerialPort);
    }
  }
  switch (door.OpenHid(vendorId, productId, hidLine.Device())) {
    case ReaderDoor::Result::not_found:
      return ReaderOutcome::Failed(ERRORT_NoReader);
    case ReaderDoor::Result::not_opened:
      return ReaderOutcome::Failed(ERRORT_ReaderNotOpened);
    case ReaderDoor::Result::opened:
      break;
  }
  return {};
}

ReaderOutcome CardReader::Identify() {
  ReaderOutcome outcome = readAuthorizeCode();
  if (outcome.Done()) {
    outcome = readVersion();
  }
  if (outcome.Done()) {
    const std::lock_guard info(infoLock);
    deviceReady = true;
    deviceStatus = kOpened;
  }
  return outcome;
}

ReaderOutcome CardReader::readAuthorizeCode() {
  log.Log("HID readAuthorizeCode");
  return ReadCode(ReaderCommand::authorize_code, 6, authorizeCode);
}

ReaderOutcome CardReader::readVersion() {
  log.Log("HID readVersion");
  return ReadCode(ReaderCommand::version, 2, versionCode);
}

// A failure with a code fails; after any other end of the exchange the status byte that the answer
// buffer holds decides.
ReaderOutcome CardReader::ReadCode(ReaderCommand command, std::size_t size, std::string& code) {
  SetCommand(command);
  const ReaderOutcome outcome = writeAndReadData(kCodeTimeoutMs, 1);
  if (outcome.code != ERRORT_None) {
    return outcome;
  }
  if (answerBuffer[1] != 0) {
    return ReaderOutcome::Failed(ERRORT_None);
  }
  const std::lock_guard info(infoLock);
  code = HexText(&answerBuffer[kAnswerDataOffset], size);
  return {};
}

void CardReader::Close() {
  const std::lock_guard guard(deviceLock);
  hidLine.Device().reset();
  const std::lock_guard info(infoLock);
  deviceReady = false;
}

void CardReader::UseSerialPort(bool serial) {
  const std::lock_guard info(infoLock);
  if (useSerialPort != serial) {
    useSerialPort = serial;
    deviceReady = false;
  }
}

ReaderOutcome CardReader::ReadDn(Answer& answer) {
  const std::lock_guard guard(deviceLock);
  SetCommand(ReaderCommand::read_dn);
  const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, 1);
  if (outcome.Done()) {
    answer = AnswerOf(answerBuffer);
  }
  return outcome;
}

ReaderOutcome CardReader::WriteInputKey(const Block& key, Answer& answer) {
  const std::lock_guard guard(deviceLock);
  SetCommand(ReaderCommand::write_input_key, key);
  const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, 1 + kKeySize);
  if (outcome.Done()) {
    answer = AnswerOf(answerBuffer);
  }
  return outcome;
}

ReaderOutcome CardReader::WriteOutputKey(const Block& key) {
  const std::lock_guard guard(deviceLock);
  SetCommand(ReaderCommand::write_output_key, key);
  const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, 1 + kKeySize);
  if (outcome.Done()) {
    commandBuffer.fill(0);
    answerBuffer.fill(0);
  }
  return outcome;
}

ReaderOutcome CardReader::ReadCardFile(CardFile file, Block& bytes, const AbandonTest& abandoned) {
  const std::lock_guard guard(deviceLock);
  const std::array<std::uint8_t, 3> parameters = {file.id,
                                                  static_cast<std::uint8_t>(file.length >> 8),
                                                  static_cast<std::uint8_t>(file.length & 0xFF)};
  SetCommand(ReaderCommand::read_card_file, parameters);
  return Noted(Line().Stream(commandBuffer, answerBuffer, file.length, bytes, abandoned));
}

ReaderOutcome CardReader::getSfzCardUid() {
  const std::lock_guard guard(deviceLock);
  log.Log("HID getSfzCardUid");
  SetCommand(ReaderCommand::identity_card_uid);
  const ReaderOutcome outcome = writeAndReadData(kCodeTimeoutMs, 1);
  if (outcome.Done()) {
    KeepUid(kIdentityCardKind, kAnswerDataOffset, kIdentityCardUidSize);
  }
  return outcome;
}

ReaderOutcome CardReader::ReadTypeACardUid() {
  const std::lock_guard guard(deviceLock);
  SetCommand(ReaderCommand::type_a_card_uid);
  const ReaderOutcome outcome = writeAndReadData(kTypeATimeoutMs, 1);
  if (!outcome.Done()) {
    return outcome;
  }
  const std::size_t size = answerBuffer[3];
  if (size == 0 || size > kLongestUid) {
    return ReaderOutcome::Failed(ERRORT_None);
  }
  KeepUid(answerBuffer[kAnswerDataOffset], kTypeAUidOffset, size);
  return {};
}

ReaderOutcome CardReader::beep(std::uint32_t milliseconds) {
  const std::lock_guard guard(deviceLock);
  log.Log("HID beep");
  if (!hidLine.Open()) {
    return {};
  }
  const std::uint32_t duration = std::max<std::uint32_t>(milliseconds / 10 % 256, 1);
  const std::array<std::uint8_t, 1> parameters = {static_cast<std::uint8_t>(duration)};
  SetCommand(ReaderCommand::beep, parameters);
  return Noted(Line().Send(commandBuffer, answerBuffer, kBeepTimeoutMs, 2));
}

void CardReader::ForgetCardUid() {
  const std::lock_guard info(infoLock);
  cardUidHex.clear();
}

std::string CardReader::VersionCode() {
  const std::lock_guard info(infoLock);
  return versionCode;
}

std::string CardReader::AuthorizeCode() {
  const std::lock_guard info(infoLock);
  return authorizeCode;
}

std::string CardReader::CardUidHex() {
  const std::lock_guard info(infoLock);
  return cardUidHex;
}

std::uint32_t CardReader::CardKind() {
  const std::lock_guard info(infoLock);
  return cardKind;
}

std::uint32_t CardReader::DeviceStatus() {
  const std::lock_guard info(infoLock);
  return deviceStatus;
}

void CardReader::SetCommand(ReaderCommand command, BlockView parameters) {
  commandBuffer[0] = 0;
  commandBuffer[1] = static_cast<std::uint8_t>(command);
  std::copy_n(parameters.begin(), std::min(parameters.size(), commandBuffer.size() - 2),
              commandBuffer.begin() + 2);
}

ReaderOutcome CardReader::writeAndReadData(std::uint32_t timeoutMs, std::size_t serialLength) {
  const ReaderOutcome outcome =
      Noted(Line().Exchange(commandBuffer, answerBuffer, timeoutMs, serialLength));
  return outcome.Done() ? EvaluateStatus() : outcome;
}

ReaderOutcome CardReader::EvaluateStatus() {
  const std::uint8_t status = answerBuffer[1];
  if (status == 0) {
    return {};
  }
  log.Log(DeviceStatusText(status));
  constexpr std::uint8_t kLargestKnownStatus = 8;
  return ReaderOutcome::Failed(status <= kLargestKnownStatus ? ERRORT_ReaderStatus + status
                                                             : ERRORT_ReaderStatus);
}

ReaderOutcome CardReader::Noted(ReaderOutcome outcome) {
  if (outcome.ReaderLost()) {
    const std::lock_guard info(infoLock);
    deviceReady = false;
    deviceStatus = kLost;
    versionCode.clear();
    authorizeCode.clear();
  }
  return outcome;
}

void CardReader::KeepUid(std::uint32_t kind, std::size_t offset, std::size_t size) {
  const std::lock_guard info(infoLock);
  cardKind = kind;
  cardUidHex = HexText(&answerBuffer[offset], size);
}

}  // namespace idcardreader
