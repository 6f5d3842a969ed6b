#include "reader/card_reader.h"

#include <algorithm>
#include <mutex>

#include "platform/serial_port.h"
#include "support/console.h"
#include "support/hex_text.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kCardTimeoutMs = 2000;
constexpr std::uint32_t kCodeTimeoutMs = 1000;
constexpr std::uint32_t kTypeATimeoutMs = 100;
constexpr std::uint32_t kBeepTimeoutMs = 100;
constexpr std::uint32_t kSearchOnTimeoutMs = 100;
constexpr std::uint32_t kSearchOffTimeoutMs = 1000;
constexpr std::uint32_t kNotificationTimeoutMs = 1000;

constexpr std::uint32_t kSerialPauseMs = 50;
constexpr std::uint32_t kLargestSerialPort = 999;

constexpr std::uint32_t kOpened = 1;
constexpr std::uint32_t kLost = 3;

constexpr std::uint32_t kIdentityCardKind = 16;
constexpr std::uint8_t kAnyKind = 255;
constexpr std::size_t kIdentityCardUidSize = 8;
constexpr std::size_t kTypeAUidOffset = 4;
constexpr std::size_t kLongestUid = kAnswerSize - kTypeAUidOffset;

Answer AnswerOf(const Report& report) {
  Answer answer;
  std::copy_n(report.begin(), answer.size(), answer.begin());
  return answer;
}

// Sixteen bytes a line, with an empty line before them.
void PrintReport(const Answer& report) {
  std::string text;
  for (std::size_t index = 0; index < report.size(); ++index) {
    text += index % 16 == 0 ? "\n" : "";
    text += HexText(&report[index], 1) + " ";
  }
  PrintLine(text);
}

}  // namespace

CardReader::CardReader(ReaderDoor& door, ActivityLog& log, platform::Clock& clock)
    : log(log), clock(clock), door(door), hidLine(log), serialLine(log) {}

void CardReader::Configure(const ReaderSettings& settings) {
  const std::lock_guard guard(deviceLock);
  vendorId = static_cast<std::uint16_t>(settings.vid);
  productId = static_cast<std::uint16_t>(settings.pid);
  serialPortNumber = settings.comnum;
  serialPortName = settings.comname;
  baud = settings.comport;
}

ReaderOutcome CardReader::OpenDevice(bool& newlyOpened) {
  const std::lock_guard guard(deviceLock);
  newlyOpened = false;
  ReaderOutcome outcome = UsesSerialPort() ? OpenSerial() : ReaderOutcome();
  if (!outcome.Done()) {
    return outcome;
  }
  {
    const std::lock_guard info(infoLock);
    if (deviceReady) {
      Line().DropStaleReports();
      return {};
    }
  }
  if (!UsesSerialPort()) {
    outcome = OpenHid();
  }
  if (outcome.Done()) {
    Line().DropStaleReports();
    outcome = Identify();
  }
  newlyOpened = outcome.Done();
  return outcome;
}

ReaderLine& CardReader::Line() {
  if (UsesSerialPort()) {
    return serialLine;
  }
  return hidLine;
}

bool CardReader::UsesSerialPort() {
  const std::lock_guard info(infoLock);
  return useSerialPort;
}

ReaderOutcome CardReader::OpenHid() {
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

// The port stays open from its first use on; a line that took no command has closed it.
ReaderOutcome CardReader::OpenSerial() {
  if (serialLine.Open()) {
    return {};
  }
  {
    const std::lock_guard info(infoLock);
    deviceReady = false;
  }
  clock.Sleep(kSerialPauseMs);
  std::unique_ptr<platform::CPort> port;
  if (serialPortNumber <= kLargestSerialPort) {
    port = door.OpenSerial(
        platform::SerialPortName(static_cast<int>(serialPortNumber), serialPortName), baud);
  }
  if (port == nullptr) {
    log.Log("Com Open Fail");
    log.Log("Com OpenCom Fail");
    return ReaderOutcome::Failed(ERRORT_SerialPort);
  }
  serialLine.Use(std::move(port));
  clock.Sleep(kSerialPauseMs);
  log.Log("Com Init Sucess");
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
  hidLine.Close();
  serialLine.Close();
  const std::lock_guard info(infoLock);
  deviceReady = false;
  _isAutoFindCardOn = false;
}

void CardReader::DropStaleReports() {
  const std::lock_guard device(deviceLock);
  Line().DropStaleReports();
}

void CardReader::UseSerialPort(bool serial) {
  const std::lock_guard info(infoLock);
  if (useSerialPort != serial) {
    useSerialPort = serial;
    deviceReady = false;
  }
}

void CardReader::ExpectStaleReports() {
  const std::lock_guard guard(deviceLock);
  Line().ExpectStaleReports();
}

bool CardReader::IsOpen() {
  const std::lock_guard guard(deviceLock);
  return Line().Open();
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

ReaderOutcome CardReader::WriteInputKey(const Block& key, Answer& answer,
                                        const AbandonTest& abandoned) {
  const std::lock_guard guard(deviceLock);
  if (abandoned()) {
    return ReaderOutcome::Abandoned();
  }
  SetCommand(ReaderCommand::write_input_key, key);
  const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, 1 + kKeySize);
  if (outcome.Done()) {
    answer = AnswerOf(answerBuffer);
  }
  return outcome;
}

ReaderOutcome CardReader::WriteOutputKey(const Block& key, const AbandonTest& abandoned) {
  const std::lock_guard guard(deviceLock);
  if (abandoned()) {
    return ReaderOutcome::Abandoned();
  }
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
  if (abandoned()) {
    return ReaderOutcome::Abandoned();
  }
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
  if (!Line().Open()) {
    return {};
  }
  const std::uint32_t duration = std::max<std::uint32_t>(milliseconds / 10 % 256, 1);
  const std::array<std::uint8_t, 1> parameters = {static_cast<std::uint8_t>(duration)};
  SetCommand(ReaderCommand::beep, parameters);
  return Noted(Line().Send(commandBuffer, answerBuffer, kBeepTimeoutMs, 2));
}

ReaderOutcome CardReader::openAutoFindCard(bool& notified) {
  const std::lock_guard guard(deviceLock);
  const ReaderOutcome outcome = SwitchSearch(true, kSearchOnTimeoutMs, notified);
  if (!SearchIsOn()) {
    ErrorLog().Log("openAutoFindCard-2-write:" + HexText(commandBuffer));
    ErrorLog().Log("openAutoFindCard-2-read:" + HexText(answerBuffer));
    log.Log("HID openAutoFindCard _isAutoFindCardOn = false");
  }
  return outcome;
}

ReaderOutcome CardReader::closeAutoFindCard() {
  const std::lock_guard guard(deviceLock);
  log.Log("HID closeAutoFindCard");
  bool notified = false;
  const ReaderOutcome outcome = SwitchSearch(false, kSearchOffTimeoutMs, notified);
  // A card may still be reported while the search ends; the next read must not meet that report.
  Line().ExpectStaleReports();
  return outcome;
}

// Fails without a code when the reader does not acknowledge, or refuses.
ReaderOutcome CardReader::SwitchSearch(bool on, std::uint32_t timeoutMs, bool& notified) {
  const std::array<std::uint8_t, 1> parameters = {static_cast<std::uint8_t>(on ? 1 : 0)};
  SetCommand(ReaderCommand::search, parameters);
  ReaderLine& line = Line();
  if (!line.WriteCommand(commandBuffer, 2)) {
    return Noted(ReaderOutcome::Failed(line.FailureCode()));
  }
  const std::uint32_t allowedMs = line.SearchAnswerTimeout(timeoutMs);
  const std::uint32_t startTick = clock.TickCount();
  bool acknowledged = false;
  for (std::uint32_t passedMs = 0; passedMs <= allowedMs && !acknowledged;
       passedMs = clock.TickCount() - startTick) {
    const int received = line.ReadReport(answerBuffer, allowedMs - passedMs);
    if (received < 0 && !UsesSerialPort()) {
      return Noted(ReaderOutcome::Failed(ERRORT_ReaderLost));
    }
    if (received <= 0) {
      break;
    }
    if (KeepNotification(AnswerOf(answerBuffer))) {
      notified = true;
    } else {
      acknowledged = answerBuffer[0] == static_cast<std::uint8_t>(ReaderCommand::search);
    }
  }
  const bool accepted = acknowledged && answerBuffer[1] == 0;
  const std::lock_guard info(infoLock);
  if (on) {
    _isAutoFindCardOn = accepted;
  } else if (accepted) {
    _isAutoFindCardOn = false;
  }
  return accepted ? ReaderOutcome() : ReaderOutcome::Failed(ERRORT_None);
}

bool CardReader::SearchIsOn() {
  const std::lock_guard info(infoLock);
  return _isAutoFindCardOn;
}

std::int32_t CardReader::idReader_FindCard(Answer& report, ReaderOutcome& outcome) {
  const std::lock_guard guard(deviceLock);
  const bool serial = UsesSerialPort();
  outcome = {};
  int received = -1;
  if (Line().Open()) {
    Report incoming{};
    received = Line().ReadReport(serial ? answerBuffer : incoming,
                                 serial ? Line().SearchAnswerTimeout(0) : kNotificationTimeoutMs);
    if (received > 0 && !serial) {
      report = AnswerOf(incoming);
    }
    if (received < 0 && !serial) {
      outcome = Noted(ReaderOutcome::Failed(ERRORT_ReaderLost));
    }
  }
  if (received == 0) {
    log.Log("idReader_FindCard communicate timeout!\n");
    return 0;
  }
  if (received < 0) {
    log.Log("idReader_FindCard error!\n");
    return -1;
  }
  PrintReport(report);
  const std::uint8_t kind = report[1];
  if (kind > kIdentityCardKind && kind != kAnyKind) {
    log.Log("idReader_FindCard card type error\n");
    return -2;
  }
  log.Log("idReader_FindCard ok\n");
  return kind;
}

bool CardReader::KeepNotification(BlockView report) {
  const auto notification = ParseCardNotification(report);
  if (!notification) {
    return false;
  }
  const std::lock_guard info(infoLock);
  cardKind = notification->kind;
  cardUidHex = HexText(notification->uid);
  return true;
}

void CardReader::ForgetCardKind() {
  const std::lock_guard info(infoLock);
  cardKind = 0;
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
  if (UsesSerialPort() && !serialLine.Open()) {
    const std::lock_guard info(infoLock);
    deviceReady = false;
  }
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
