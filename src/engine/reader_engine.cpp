#include "engine/reader_engine.h"

#include <mutex>
#include <utility>

#include "support/console.h"
#include "support/gbk_text.h"
#include "support/hex_text.h"
#include "support/host_identity.h"
#include "support/status_codes.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr char kLogName[] = "Reader";
constexpr std::uint32_t kPassPauseMs = 5;
constexpr std::uint32_t kPatientServiceTimeoutMs = 3000;
constexpr std::size_t kDnSize = 32;

const GbkText kDnRetry("第二次重试DN");

// Tells the state when the caller of a read leaves, whichever way.
class CallerInside {
 public:
  CallerInside(ReadState& state, ReadGeneration generation)
      : state(state), generation(generation) {}
  ~CallerInside() { state.Leave(generation); }
  CallerInside(const CallerInside&) = delete;
  CallerInside& operator=(const CallerInside&) = delete;

 private:
  ReadState& state;
  const ReadGeneration generation;
};

}  // namespace

ReaderEngine::ReaderEngine(const EngineDoors& doors)
    : sockets(doors.sockets),
      clock(doors.clock),
      executableFolder(doors.executableFolder),
      libraryFolder(doors.libraryFolder),
      log(kLogName, doors.clock),
      links(doors.sockets, doors.clock, doors.dialect),
      reader(doors.reader, log, doors.clock),
      machine(state, reader, links, *this, log, doors.clock),
      search(reader, *this, log, doors.clock),
      hostDeviceCode(idcardreader::HostDeviceCode()) {
  LoadConfig();  // without its files the engine still drives the reader
}

ReaderEngine::~ReaderEngine() { ExitEngine(); }

bool ReaderEngine::ReadInit() {
  ReadGeneration generation = state.PrepareIdle();
  return generation != kNoRead && StartReadThread(generation) && OpenDevice(generation);
}

bool ReaderEngine::ExitEngine() {
  if (!state.BeginShutdown()) {
    return true;  // another thread has just done it
  }
  std::unique_ptr<platform::CSThread> ending;
  {
    const std::lock_guard guard(state.stateLock);
    stopRequested = true;
    ending.swap(readThread);
  }
  if (ending != nullptr) {
    ending->Join();  // the thread leaves after its pass
  }
  links.Record(kItemExit, "Exit");
  reader.Close();
  search.Reset();
  log.Close();
  configFile.reset();
  dataFiles.reset();
  state.EndShutdown();
  return true;
}

bool ReaderEngine::ReadCardStartRead(bool autoMode) {
  log.Log("\nReadCardStartRead");
  return autoMode ? FindCard() : ReadCard();
}

bool ReaderEngine::FindCard() {
  log.Log("ReadCardStartRead   auto = TRUE");
  return !state.ReadRunning() && search.FindCard();
}

bool ReaderEngine::PrepareSearch() { return ReadInit(); }

void ReaderEngine::RaiseSearchFailure(const ReaderOutcome& outcome) {
  ReadGeneration generation = state.CurrentGeneration();
  if (!state.ReadRunning()) {
    RaiseReaderFailure(outcome, generation);
  }
}

bool ReaderEngine::ReadCard() {
  const ReadGeneration generation = state.Begin();
  if (generation == kNoRead) {
    log.Log("ReadCardStartRead   auto = FALSE");
    log.Log("m_bReadCardStart_Begin true");
    return false;
  }
  const CallerInside inside(state, generation);
  ReadGeneration closed = generation;
  RaiseReaderFailure(search.CloseBeforeRead(), closed);
  log.Log("ReadCardStartRead   auto = FALSE");
  log.Log("read_sfz   BEGIN");
  // A reader that sent more than it was asked for goes unnoticed until the service has refused what
  // was read; the rest must not be taken for this read's answers.
  if (lastReadFailed.exchange(true)) {
    reader.ExpectStaleReports();
  }
  if (!StartStep(generation)) {
    // Whatever failed without a code of its own; after a failure with one this has no effect.
    if (state.IsCurrent(generation)) {
      SetError(ERRORT_ReaderAnswer, generation);
    }
    log.Log("read_sfz   FALSE");
    return false;
  }
  const bool succeeded = state.WaitForEnd(generation);
  lastReadFailed = !succeeded;
  log.Log(succeeded ? "read_sfz   END   Sucess" : "read_sfz   END   Fail");
  return succeeded;
}

bool ReaderEngine::StartStep(ReadGeneration generation) {
  ReadGeneration opened = generation;
  if (!state.Prepare(generation) || !StartReadThread(generation) || !OpenDevice(opened)) {
    return false;
  }
  const auto link = links.Ensure();
  if (!StartService(*link, generation)) {
    return false;
  }
  Answer answer{};
  if (!ReadDn(generation, answer)) {
    return false;
  }
  state.SetDnHex(HexText(&answer[kAnswerDataOffset], kDnSize));
  const bool login = link->LoginNeeded();
  const ReadTask first{generation,
                       static_cast<std::uint32_t>(login ? kItemLogin : kItemHeartbeat),
                       login ? "LOGIN" : "HEARTBEAT",
                       {}};
  return state.QueueFirstTasks(first,
                               {generation, kItemDn, "DN", Block(answer.begin(), answer.end())});
}

bool ReaderEngine::StartService(DecodeServerLink& link, ReadGeneration generation) {
  if (!state.IsCurrent(generation)) {
    return false;
  }
  if (link.ServerInit(generation)) {
    return state.IsCurrent(generation);
  }
  if (SetError(ERRORT_ServiceLink, generation) != kNoRead) {
    // Whatever the link could not do stands behind the code as its cause.
    std::string cause = link.TakeFailureText();
    while (!cause.empty()) {
      ErrorLog().Log(cause);
      cause = link.TakeFailureText();
    }
  }
  return false;
}

bool ReaderEngine::ReadDn(ReadGeneration generation, Answer& answer) {
  ReaderOutcome outcome = reader.ReadDn(answer);
  if (!outcome.Done() && state.IsCurrent(generation)) {
    if (outcome.code != ERRORT_None) {
      ErrorLog().Log(StatusText(outcome.code));
    }
    ErrorLog().Log(kDnRetry);
    // What answered instead may be the rest of a late answer to an earlier read.
    reader.DropStaleReports();
    outcome = reader.ReadDn(answer);
    if (!outcome.Done()) {
      if (outcome.code != ERRORT_None) {
        ErrorLog().Log(StatusText(outcome.code));
      }
      SetError(ERRORT_ReadDn, generation);
    }
  }
  return outcome.Done() && state.IsCurrent(generation);
}

void ReaderEngine::StopRead() {
  search.Stop();
  const ReadGeneration stopped = state.Stop();
  if (const auto link = links.Get()) {
    link->EndRead(stopped);
  }
  log.Log("Read Done Stop");
}

bool ReaderEngine::SetLogging(bool on, bool detail) {
  log.Switch(on);
  logDetail = detail;
  links.Record(kItemLogSwitch, on ? "1" : "0");
  return links.Ensure() != nullptr;
}

bool ReaderEngine::SetDeviceType(bool serial) {
  const std::lock_guard guard(state.stateLock);
  if (state.ReadRunning() || search.On()) {
    return false;
  }
  reader.UseSerialPort(serial);
  state.SetServiceTimeout(kPatientServiceTimeoutMs);
  return true;
}

void ReaderEngine::SetBeepOnSuccess(bool on) { state.SetBeepOnSuccess(on); }

std::string ReaderEngine::GetCardUid(std::int32_t mode) {
  if (state.ReadRunning()) {
    return {};
  }
  ReadGeneration generation = state.CurrentGeneration();
  reader.ForgetCardUid();
  if (!OpenDevice(generation)) {
    return {};
  }
  bool found = false;
  if (mode == 0 || mode == 1) {
    const ReaderOutcome outcome = reader.getSfzCardUid();
    RaiseReaderFailure(outcome, generation);
    found = outcome.Done();
  }
  if (!found && (mode == 0 || mode == 2)) {
    RaiseReaderFailure(reader.ReadTypeACardUid(), generation);
  }
  return reader.CardUidHex();
}

void ReaderEngine::Beep(std::uint32_t milliseconds) {
  ReadGeneration generation = state.CurrentGeneration();
  if (!state.ReadRunning()) {
    RaiseReaderFailure(reader.beep(milliseconds), generation);
  }
}

std::string ReaderEngine::GetLastErrorText() {
  if (state.ReadOk()) {
    ErrorLog().ClearLastMessage();
    return {};
  }
  return state.LastErrorText() + ErrorLog().LastMessage();
}

ReadGeneration ReaderEngine::SetError(std::int32_t code, ReadGeneration generation) {
  // Logged first: the caller wakes when the state fails, and asks for the logged text as well.
  ErrorLog().Log(StatusText(code));
  const ReadGeneration next = state.Fail(generation, code, StatusText(code));
  if (next != kNoRead) {
    if (const auto link = links.Get()) {
      link->EndRead(generation);
    }
    log.Log("Read Done Error");
  }
  return next;
}

// Moves the generation on when the failure had a code, so that a second one can be raised.
void ReaderEngine::RaiseReaderFailure(const ReaderOutcome& outcome, ReadGeneration& generation) {
  if (outcome.code != ERRORT_None) {
    generation = SetError(outcome.code, generation);
  }
}

bool ReaderEngine::StartReadThread(ReadGeneration generation) {
  log.Log("Read Init Begin");
  bool started = true;
  {
    const std::lock_guard guard(state.stateLock);
    if (readThread == nullptr || !readThread->Running()) {
      stopRequested = false;
      readThread = std::make_unique<platform::CSThread>();
      started = readThread->Start([this] { RunReadThread(); });
    }
  }
  if (!started) {
    SetError(ERRORT_ReadThread, generation);
    return false;
  }
  log.Log("Read Init Sucess");
  ErrorLog().ClearLastMessage();
  return true;
}

void ReaderEngine::RunReadThread() {
  while (!stopRequested) {
    try {
      machine.Pass();
    } catch (...) {
      state.Stop();  // out of memory: the read ends, its caller is released
    }
    clock.Sleep(kPassPauseMs);
  }
}

bool ReaderEngine::OpenDevice(ReadGeneration& generation) {
  bool newlyOpened = false;
  const ReaderOutcome outcome = reader.OpenDevice(newlyOpened);
  if (newlyOpened) {
    links.Record(kItemDeviceCode, settings.appId + "&" + reader.AuthorizeCode() + "&" +
                                      hostDeviceCode + "&" + reader.VersionCode());
  }
  RaiseReaderFailure(outcome, generation);
  return outcome.Done();
}

}  // namespace idcardreader
