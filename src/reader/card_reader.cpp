#include "reader/card_reader.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/serial_port.h"
#include "reader/card_notification.h"
#include "support/logs.h"
#include "support/text.h"

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
    : log(log), clock(clock), door(door), hidLine(log, clock), serialLine(log, clock) {}

CardReader::~CardReader() { Close(); }

template <typename Operation>
ReaderOutcome CardReader::Perform(const AbandonTest& abandoned, Operation operation) {
  ReaderOutcome outcome = ReaderOutcome::Abandoned();
  const bool performed = thread.Perform([&] {
    if (!abandoned()) {
      outcome = Noted(operation());
    }
  });
  return performed ? outcome : ReaderOutcome::Failed(ERRORT_ReadThread);
}

void CardReader::Configure(const ReaderSettings& configured) {
  const std::lock_guard info(infoLock);
  settings = configured;
}

ReaderSettings CardReader::Settings() {
  const std::lock_guard info(infoLock);
  return settings;
}

ReaderOutcome CardReader::OpenDevice(bool& newlyOpened, const AbandonTest& abandoned) {
  newlyOpened = false;
  return Perform(abandoned, [&]() -> ReaderOutcome {
    const bool serial = UsesSerialPort();
    ReaderOutcome outcome = serial ? OpenSerial() : ReaderOutcome();
    const bool ready = DeviceReady();
    if (outcome.Done() && !ready && !serial) {
      outcome = OpenHid();
    }
    if (outcome.Done() && Line().staleReports) {
      Line().DropReports();
    }
    if (outcome.Done() && !ready) {
      outcome = Identify(abandoned);
      newlyOpened = outcome.Done();
    }
    return outcome;
  });
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

bool CardReader::DeviceReady() {
  const std::lock_guard info(infoLock);
  return deviceReady;
}

ReaderOutcome CardReader::OpenHid() {
  const ReaderSettings configured = Settings();
  const auto vendorId = static_cast<std::uint16_t>(configured.vid);
  const auto productId = static_cast<std::uint16_t>(configured.pid);
  if (vendorId == 0 || productId == 0) {
    // The system takes a zero for any device: whatever comes first would be written to.
    return ReaderOutcome::Failed(ERRORT_NoReader);
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

// The port stays open from its first use on; a line that took no command has closed it.
ReaderOutcome CardReader::OpenSerial() {
  if (serialLine.IsOpen()) {
    return {};
  }
  {
    const std::lock_guard info(infoLock);
    deviceReady = false;
  }
  clock.Sleep(kSerialPauseMs);
  const ReaderSettings configured = Settings();
  std::unique_ptr<platform::CPort> port;
  if (configured.comnum <= kLargestSerialPort) {
    port = door.OpenSerial(
        platform::SerialPortName(static_cast<int>(configured.comnum), configured.comname),
        configured.comport);
  }
  if (port == nullptr) {
    log.Log("Com Open Fail");
    log.Log("Com OpenCom Fail");
    return ReaderOutcome::Failed(ERRORT_SerialPort);
  }
  serialLine.Use(std::move(port), configured.comport);
  clock.Sleep(kSerialPauseMs);
  log.Log("Com Init Sucess");
  return {};
}

ReaderOutcome CardReader::Identify(const AbandonTest& abandoned) {
  ReaderOutcome outcome = readAuthorizeCode(abandoned);
  if (outcome.Done()) {
    outcome = readVersion(abandoned);
  }
  if (outcome.Done()) {
    const std::lock_guard info(infoLock);
    deviceReady = true;
    deviceStatus = kOpened;
  }
  return outcome;
}

ReaderOutcome CardReader::readAuthorizeCode(const AbandonTest& abandoned) {
  log.Log("HID readAuthorizeCode");
  return ReadCode(ReaderCommand::authorize_code, 6, authorizeCode, abandoned);
}

ReaderOutcome CardReader::readVersion(const AbandonTest& abandoned) {
  log.Log("HID readVersion");
  return ReadCode(ReaderCommand::version, 2, versionCode, abandoned);
}

// A failure with a code fails; after any other end of the exchange the status byte that the answer
// buffer holds decides.
ReaderOutcome CardReader::ReadCode(ReaderCommand command, std::size_t size, std::string& code,
                                   const AbandonTest& abandoned) {
  SetCommand(command);
  const ReaderOutcome outcome = writeAndReadData(kCodeTimeoutMs, abandoned);
  if (outcome.code != ERRORT_None || outcome.kind == ReaderOutcome::Kind::abandoned) {
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
  thread.PerformLast([this] {
    hidLine.Close();
    serialLine.Close();
    const std::lock_guard info(infoLock);
    deviceReady = false;
    _isAutoFindCardOn = false;
  });
}

void CardReader::UseSerialPort(bool serial) {
  const std::lock_guard info(infoLock);
  if (useSerialPort != serial) {
    useSerialPort = serial;
    deviceReady = false;
  }
}

void CardReader::ExpectStaleReports() {
  thread.Perform([this] { Line().staleReports = true; });
}

ReaderOutcome CardReader::ReadDn(Answer& answer, const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    // Whatever lies there, of an earlier card perhaps, must not be taken for this one's DN.
    Line().DropReports();
    SetCommand(ReaderCommand::read_dn);
    const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, abandoned);
    if (outcome.Done()) {
      answer = AnswerOf(answerBuffer);
    }
    return outcome;
  });
}

ReaderOutcome CardReader::WriteInputKey(const Block& key, Answer& answer,
                                        const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    SetCommand(ReaderCommand::write_input_key, key);
    const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, abandoned);
    if (outcome.Done()) {
      answer = AnswerOf(answerBuffer);
    }
    return outcome;
  });
}

ReaderOutcome CardReader::WriteOutputKey(const Block& key, const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    SetCommand(ReaderCommand::write_output_key, key);
    const ReaderOutcome outcome = writeAndReadData(kCardTimeoutMs, abandoned);
    if (outcome.Done()) {
      commandBuffer.report.fill(0);
      answerBuffer.fill(0);
    }
    return outcome;
  });
}

ReaderOutcome CardReader::ReadCardFile(CardFile file, Block& bytes, const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    const std::array<std::uint8_t, 3> parameters = {file.id,
                                                    static_cast<std::uint8_t>(file.length >> 8),
                                                    static_cast<std::uint8_t>(file.length & 0xFF)};
    SetCommand(ReaderCommand::read_card_file, parameters);
    const ReaderOutcome outcome =
        Line().Stream(commandBuffer, answerBuffer, file.length, bytes, abandoned);
    answerBuffer.fill(0);  // a report that fails to come must not show the end of this file
    return outcome;
  });
}

ReaderOutcome CardReader::getSfzCardUid(const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    log.Log("HID getSfzCardUid");
    SetCommand(ReaderCommand::identity_card_uid);
    const ReaderOutcome outcome = writeAndReadData(kCodeTimeoutMs, abandoned);
    if (outcome.Done()) {
      KeepUid(kIdentityCardKind, kAnswerDataOffset, kIdentityCardUidSize);
    }
    return outcome;
  });
}

ReaderOutcome CardReader::ReadTypeACardUid(const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    SetCommand(ReaderCommand::type_a_card_uid);
    const ReaderOutcome outcome = writeAndReadData(kTypeATimeoutMs, abandoned);
    if (!outcome.Done()) {
      return outcome;
    }
    const std::size_t size = answerBuffer[3];
    if (size == 0 || size > kLongestUid) {
      return ReaderOutcome::Failed(ERRORT_None);
    }
    KeepUid(answerBuffer[kAnswerDataOffset], kTypeAUidOffset, size);
    return outcome;
  });
}

ReaderOutcome CardReader::beep(std::uint32_t milliseconds, const AbandonTest& abandoned) {
  return Perform(abandoned, [&]() -> ReaderOutcome {
    log.Log("HID beep");
    if (!Line().IsOpen()) {
      return {};
    }
    const std::uint32_t duration = std::max<std::uint32_t>(milliseconds / 10 % 256, 1);
    const std::array<std::uint8_t, 1> parameters = {static_cast<std::uint8_t>(duration)};
    SetCommand(ReaderCommand::beep, parameters);
    return Line().Send(commandBuffer, answerBuffer, kBeepTimeoutMs);
  });
}

ReaderOutcome CardReader::openAutoFindCard(bool& notified, const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    const ReaderOutcome outcome = SwitchSearch(true, kSearchOnTimeoutMs, notified);
    if (!outcome.Done()) {
      // It may be on for all that, or acknowledge late.
      Line().staleReports = true;
      ErrorLog().Log("openAutoFindCard-2-write:" + HexText(commandBuffer.report));
      ErrorLog().Log("openAutoFindCard-2-read:" + HexText(answerBuffer));
      log.Log("HID openAutoFindCard _isAutoFindCardOn = false");
    }
    return outcome;
  });
}

ReaderOutcome CardReader::closeAutoFindCard(const AbandonTest& abandoned) {
  return Perform(abandoned, [&]() -> ReaderOutcome {
    if (!SearchIsOn() || !Line().IsOpen()) {
      return {};
    }
    log.Log("HID closeAutoFindCard");
    bool notified = false;
    const ReaderOutcome outcome = SwitchSearch(false, kSearchOffTimeoutMs, notified);
    // A card may still be reported while the search ends; the next read must not meet that report.
    Line().staleReports = true;
    log.Log("HID closeAutoFindCard end");
    return outcome;
  });
}

// Fails without a code when the reader does not acknowledge, or refuses.
ReaderOutcome CardReader::SwitchSearch(bool on, std::uint32_t timeoutMs, bool& notified) {
  const std::array<std::uint8_t, 1> parameters = {static_cast<std::uint8_t>(on ? 1 : 0)};
  SetCommand(ReaderCommand::search, parameters);
  ReaderLine& line = Line();
  ReaderOutcome outcome = line.Begin(commandBuffer);
  const std::uint32_t allowedMs = line.SearchTimeout(timeoutMs);
  const std::uint32_t startTick = clock.TickCount();
  bool acknowledged = false;
  bool silent = false;
  for (std::uint32_t passedMs = 0;
       outcome.Done() && !silent && !acknowledged && passedMs <= allowedMs;
       passedMs = clock.TickCount() - startTick) {
    std::size_t received = 0;
    outcome = line.Await(answerBuffer, allowedMs - passedMs, received);
    silent = received == 0;
    if (silent) {
      continue;
    }
    if (KeepNotification(AnswerOf(answerBuffer))) {
      notified = true;
    } else {
      acknowledged = answerBuffer[0] == static_cast<std::uint8_t>(ReaderCommand::search);
    }
  }
  if (outcome.code != ERRORT_None) {
    return outcome;
  }
  const bool accepted = acknowledged && answerBuffer[1] == 0;
  const std::lock_guard info(infoLock);
  if (on) {
    // A reader that reports a card is searching, whatever became of its acknowledgement.
    _isAutoFindCardOn = accepted || notified;
    searchOnSerialPort = &line == &serialLine;
  } else if (accepted) {
    _isAutoFindCardOn = false;
  }
  return accepted ? ReaderOutcome() : ReaderOutcome::Failed(ERRORT_None);
}

bool CardReader::SearchIsOn() {
  const std::lock_guard info(infoLock);
  return _isAutoFindCardOn && searchOnSerialPort == useSerialPort;
}

std::int32_t CardReader::idReader_FindCard(Answer& report, ReaderOutcome& outcome,
                                           const AbandonTest& abandoned) {
  std::size_t received = 0;
  outcome = Perform(abandoned, [&]() -> ReaderOutcome {
    ReaderLine& line = Line();
    if (!line.IsOpen()) {
      return ReaderOutcome::Failed(ERRORT_None);
    }
    Report incoming{};
    const ReaderOutcome awaited =
        line.Await(incoming, line.SearchTimeout(kNotificationTimeoutMs), received);
    if (received > 0 && line.TellsOfCards()) {
      report = AnswerOf(incoming);
    }
    return awaited;
  });
  if (outcome.Done() && received == 0) {
    log.Log("idReader_FindCard communicate timeout!\n");
    return 0;
  }
  if (!outcome.Done()) {
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
  Report& report = commandBuffer.report;
  report[0] = 0;
  report[1] = static_cast<std::uint8_t>(command);
  const std::size_t count = std::min(parameters.size(), report.size() - 2);
  std::copy_n(parameters.begin(), count, report.begin() + 2);
  commandBuffer.length = 1 + count;
  answerBuffer.fill(0);  // nothing of an earlier answer, of another card perhaps, shows through
}

ReaderOutcome CardReader::writeAndReadData(std::uint32_t timeoutMs, const AbandonTest& abandoned) {
  const ReaderOutcome outcome = Line().Exchange(commandBuffer, answerBuffer, timeoutMs, abandoned);
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

// A line that is gone ends the reader's search, too.
ReaderOutcome CardReader::Noted(ReaderOutcome outcome) {
  const std::lock_guard info(infoLock);
  const bool lost = outcome.ReaderLost();
  if (lost || (useSerialPort && !serialLine.IsOpen())) {
    deviceReady = false;
    _isAutoFindCardOn = _isAutoFindCardOn && searchOnSerialPort != useSerialPort;
  }
  if (lost) {
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
