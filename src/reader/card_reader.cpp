#include "reader/card_reader.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "support/logs.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr ReaderCommand kSearchOn{0x01, 100, 200};
constexpr ReaderCommand kSearchOff{0x01, 1000, 200};
constexpr ReaderCommand kCardNotification{0x01, 1000, 200};  // the search sends it unasked
constexpr ReaderCommand kReadDn{0x06, 2000, 200};
constexpr ReaderCommand kWriteInputKey{0x07, 2000, 200};
constexpr ReaderCommand kWriteOutputKey{0x08, 2000, 200};
constexpr ReaderCommand kReadCardFile{0x0B, 100, 200};  // its answer is a stream
constexpr ReaderCommand kIdentityCardUid{0x0C, 1000, 200};
constexpr ReaderCommand kTypeACardUid{0x0D, 100, 200};
constexpr ReaderCommand kReadAuthorizeCode{0x30, 1000, 200};
constexpr ReaderCommand kReadVersion{0x64, 1000, 200};
constexpr ReaderCommand kBeep{0x65, 100, 100};

constexpr std::uint32_t kOpened = 1;
constexpr std::uint32_t kLost = 3;
constexpr std::uint8_t kLargestKnownStatus = 8;

constexpr std::uint32_t kIdentityCardKind = 16;
constexpr std::uint8_t kAnyKind = 255;
constexpr std::size_t kIdentityCardUidSize = 8;
constexpr std::size_t kTypeAUidOffset = 4;
constexpr std::size_t kLongestUid = kAnswerSize - kTypeAUidOffset;

// What the reader reports of a card that its search has found: kind, length of the UID, and that.
constexpr std::size_t kNotifiedUidOffset = 3;
constexpr struct {
  std::uint8_t kind;
  std::uint8_t uidSize;
} kNotifications[] = {{kIdentityCardKind, kIdentityCardUidSize}, {4, 4}};

// Sixteen bytes a line, with an empty line before them.
void PrintReport(const Report& report) {
  std::string text;
  for (std::size_t index = 0; index < kAnswerSize; ++index) {
    text += index % 16 == 0 ? "\n" : "";
    text += HexText(&report[index], 1) + " ";
  }
  PrintLine(text);
}

}  // namespace

CardReader::CardReader(ReaderBackend& backend, ActivityLog& log, platform::Clock& clock)
    : log(log), clock(clock), hidLine(backend, log, clock), serialLine(backend, log, clock) {}

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

ReaderOutcome CardReader::OpenDevice(bool& newlyOpened, const AbandonTest& abandoned) {
  newlyOpened = false;
  return Perform(abandoned, [&] {
    ReaderLine& line = Line();
    ReaderSettings configured;
    bool ready = false;
    {
      const std::lock_guard info(infoLock);
      configured = settings;
      ready = deviceReady = deviceReady && line.IsOpen();
    }
    ReaderOutcome outcome = ready ? ReaderOutcome() : line.Open(configured);
    if (outcome.Done() && line.staleReports) {
      line.DropReports();
    }
    if (outcome.Done() && !ready) {
      outcome = Identify(abandoned);
      newlyOpened = outcome.Done();
    }
    return outcome;
  });
}

ReaderLine& CardReader::Line() {
  const std::lock_guard info(infoLock);
  if (useSerialPort) {
    return serialLine;
  }
  return hidLine;
}

ReaderOutcome CardReader::Identify(const AbandonTest& abandoned) {
  log.Log("HID readAuthorizeCode");
  ReaderOutcome outcome = ReadCode(kReadAuthorizeCode, 6, known.authorizeCode, abandoned);
  if (outcome.Done()) {
    log.Log("HID readVersion");
    outcome = ReadCode(kReadVersion, 2, known.versionCode, abandoned);
  }
  if (outcome.Done()) {
    const std::lock_guard info(infoLock);
    deviceReady = true;
    known.deviceStatus = kOpened;
  }
  return outcome;
}

// A failure with a code fails; after any other end of the exchange the status byte that the answer
// buffer holds decides.
ReaderOutcome CardReader::ReadCode(const ReaderCommand& command, std::size_t size,
                                   std::string& code, const AbandonTest& abandoned) {
  const ReaderOutcome outcome = writeAndReadData(command, {}, abandoned);
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
    const ReaderOutcome outcome = writeAndReadData(kReadDn, {}, abandoned);
    std::copy_n(answerBuffer.begin(), answer.size(), answer.begin());
    return outcome;
  });
}

ReaderOutcome CardReader::WriteInputKey(const Block& key, Answer& answer,
                                        const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    const ReaderOutcome outcome = writeAndReadData(kWriteInputKey, key, abandoned);
    std::copy_n(answerBuffer.begin(), answer.size(), answer.begin());
    return outcome;
  });
}

ReaderOutcome CardReader::WriteOutputKey(const Block& key, const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    const ReaderOutcome outcome = writeAndReadData(kWriteOutputKey, key, abandoned);
    if (outcome.Done()) {
      request.report.fill(0);
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
    SetCommand(kReadCardFile, parameters);
    bytes.assign(file.length, 0);
    const ReaderOutcome outcome = Line().Stream(request, answerBuffer, bytes, abandoned);
    answerBuffer.fill(0);  // nothing of a file stays here
    return outcome;
  });
}

ReaderOutcome CardReader::getSfzCardUid(const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    log.Log("HID getSfzCardUid");
    const ReaderOutcome outcome = writeAndReadData(kIdentityCardUid, {}, abandoned);
    if (outcome.Done()) {
      KeepCard(kIdentityCardKind, {&answerBuffer[kAnswerDataOffset], kIdentityCardUidSize});
    }
    return outcome;
  });
}

ReaderOutcome CardReader::ReadTypeACardUid(const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    const ReaderOutcome outcome = writeAndReadData(kTypeACardUid, {}, abandoned);
    if (!outcome.Done()) {
      return outcome;
    }
    const std::size_t size = answerBuffer[3];
    if (size == 0 || size > kLongestUid) {
      return ReaderOutcome::Failed(ERRORT_None);
    }
    KeepCard(answerBuffer[kAnswerDataOffset], {&answerBuffer[kTypeAUidOffset], size});
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
    SetCommand(kBeep, std::array{static_cast<std::uint8_t>(duration)});
    return Line().Send(request, answerBuffer);
  });
}

ReaderOutcome CardReader::openAutoFindCard(bool& notified, const AbandonTest& abandoned) {
  return Perform(abandoned, [&] {
    const ReaderOutcome outcome = SwitchSearch(true, notified);
    if (!outcome.Done()) {
      // It may be on for all that, or acknowledge late.
      Line().staleReports = true;
      ErrorLog().Log("openAutoFindCard-2-write:" + HexText(request.report));
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
    const ReaderOutcome outcome = SwitchSearch(false, notified);
    // A card may still be reported while the search ends; the next read must not meet that report.
    Line().staleReports = true;
    log.Log("HID closeAutoFindCard end");
    return outcome;
  });
}

// Fails without a code when the reader does not acknowledge, or refuses.
ReaderOutcome CardReader::SwitchSearch(bool on, bool& notified) {
  SetCommand(on ? kSearchOn : kSearchOff, std::array{static_cast<std::uint8_t>(on ? 1 : 0)});
  ReaderLine& line = Line();
  ReaderOutcome outcome = line.Begin(request);
  const std::uint32_t startTick = clock.TickCount();
  bool acknowledged = false;
  while (outcome.Done() && !acknowledged) {
    std::size_t received = 0;
    outcome = line.Await(request.command, clock.TickCount() - startTick, answerBuffer, received);
    if (received == 0) {
      break;
    }
    if (KeepNotification(answerBuffer)) {
      notified = true;
    } else {
      acknowledged = answerBuffer[0] == request.command.code;
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

ReaderOutcome CardReader::idReader_FindCard(bool& notified, const AbandonTest& abandoned) {
  Report report{};
  std::size_t received = 0;
  const ReaderOutcome outcome = Perform(abandoned, [&] {
    Report untold{};
    Report& incoming = &Line() == &serialLine ? untold : report;
    return Line().IsOpen() ? Line().Await(kCardNotification, 0, incoming, received)
                           : ReaderOutcome::Failed(ERRORT_None);
  });
  if (!outcome.Done()) {
    log.Log("idReader_FindCard error!\n");
    return outcome;
  }
  if (received == 0) {
    log.Log("idReader_FindCard communicate timeout!\n");
    return outcome;
  }
  PrintReport(report);
  const std::uint8_t kind = report[1];
  const bool kindExists = kind <= kIdentityCardKind || kind == kAnyKind;
  log.Log(kindExists ? "idReader_FindCard ok\n" : "idReader_FindCard card type error\n");
  notified = KeepNotification(report) || notified;
  return outcome;
}

bool CardReader::KeepNotification(const Report& report) {
  for (const auto& [kind, uidSize] : kNotifications) {
    if (report[0] == kCardNotification.code && report[1] == kind && report[2] == uidSize) {
      KeepCard(kind, {&report[kNotifiedUidOffset], uidSize});
      return true;
    }
  }
  return false;
}

void CardReader::KeepCard(std::uint32_t kind, BlockView uid) {
  const std::lock_guard info(infoLock);
  known.cardKind = kind;
  known.cardUidHex = HexText(uid);
}

CardReader::Info CardReader::Known() {
  const std::lock_guard info(infoLock);
  return known;
}

void CardReader::ForgetCardKind() {
  const std::lock_guard info(infoLock);
  known.cardKind = 0;
}

void CardReader::ForgetCardUid() {
  const std::lock_guard info(infoLock);
  known.cardUidHex.clear();
}

void CardReader::SetCommand(const ReaderCommand& command, BlockView parameters) {
  request.command = command;
  Report& report = request.report;
  report[0] = 0;
  report[1] = command.code;
  const std::size_t count = std::min(parameters.size(), report.size() - 2);
  std::copy_n(parameters.begin(), count, report.begin() + 2);
  request.length = 1 + count;
  answerBuffer.fill(0);  // nothing of an earlier answer, of another card perhaps, shows through
}

ReaderOutcome CardReader::writeAndReadData(const ReaderCommand& command, BlockView parameters,
                                           const AbandonTest& abandoned) {
  SetCommand(command, parameters);
  const ReaderOutcome outcome = Line().Exchange(request, answerBuffer, abandoned);
  const std::uint8_t status = answerBuffer[1];
  if (!outcome.Done() || status == 0) {
    return outcome;
  }
  log.Log(DeviceStatusText(status));
  return ReaderOutcome::Failed(ERRORT_ReaderStatus + (status <= kLargestKnownStatus ? status : 0));
}

// A line that is gone ends the reader's search, too.
ReaderOutcome CardReader::Noted(ReaderOutcome outcome) {
  const bool lineIsGone = !Line().IsOpen();
  const bool lost = outcome.code == ERRORT_ReaderLost;
  const std::lock_guard info(infoLock);
  if (lost || lineIsGone) {
    deviceReady = false;
    _isAutoFindCardOn = _isAutoFindCardOn && searchOnSerialPort != useSerialPort;
  }
  if (lost) {
    known.deviceStatus = kLost;
    known.versionCode.clear();
    known.authorizeCode.clear();
  }
  return outcome;
}

}  // namespace idcardreader
