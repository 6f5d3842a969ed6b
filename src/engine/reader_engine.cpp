#include "engine/reader_engine.h"

#include <mutex>
#include <utility>

#include "platform/wiping.h"
#include "support/host_identity.h"
#include "support/logs.h"
#include "support/status_codes.h"
#include "support/text.h"

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

// A caller who speaks to the reader without reading; false when that may not be.
class IdleCaller {
 public:
  explicit IdleCaller(ReadState& state) : state(state), inside(state.EnterIdle()) {}
  ~IdleCaller() {
    if (inside) state.LeaveIdle();
  }
  IdleCaller(const IdleCaller&) = delete;
  IdleCaller& operator=(const IdleCaller&) = delete;

  explicit operator bool() const { return inside; }

 private:
  ReadState& state;
  const bool inside;
};

}  // namespace

ReaderEngine::ReaderEngine(const EngineDoors& doors)
    : clock(doors.clock),
      executableFolder(doors.executableFolder),
      libraryFolder(doors.libraryFolder),
      log(kLogName, doors.clock),
      state(doors.clock),
      links(doors.sockets, doors.clock, doors.dialect),
      reader(doors.reader, log, doors.clock),
      machine(state, reader, links, *this, log),
      search(reader, *this, log, doors.clock),
      hostDeviceCode(idcardreader::HostDeviceCode()) {
  LoadConfig(doors.givenUp);  // without its files the engine still drives the reader
}

ReaderEngine::~ReaderEngine() { ExitForGood(); }

bool ReaderEngine::ReadInit() {
  const IdleCaller caller(state);
  return caller && PrepareSearch();
}

bool ReaderEngine::ExitEngine() { return Exit(ReadState::Shutdown::passing); }

void ReaderEngine::ExitForGood() { Exit(ReadState::Shutdown::for_good); }

bool ReaderEngine::Exit(ReadState::Shutdown kind) {
  ReadGeneration stopped = kNoRead;
  if (!state.BeginShutdown(kind, stopped)) {
    return true;  // another thread has just done it
  }
  EndAtLink(stopped);
  search.Stop();
  state.AwaitCallers();
  std::unique_ptr<platform::CSThread> ending;
  {
    const std::lock_guard guard(readThreadLock);
    ending.swap(readThread);
  }
  if (ending != nullptr) {
    ending->Join();  // the thread leaves after its pass
  }
  links.EndLink();
  reader.Close();
  search.Reset();
  log.Close();
  state.EndShutdown();
  return true;
}

bool ReaderEngine::ReadCardStartRead(bool autoMode, const std::function<void()>& onSuccess) {
  log.Log("\nReadCardStartRead");
  return autoMode ? FindCard() : ReadCard(onSuccess);
}

bool ReaderEngine::FindCard() {
  log.Log("ReadCardStartRead   auto = TRUE");
  const IdleCaller caller(state);
  return caller && search.FindCard();
}

bool ReaderEngine::PrepareSearch() {
  return state.ForgetLastRead() && Raised(StartReadThread()) &&
         Raised(OpenDevice([this] { return state.ReadRunning(); }));
}

bool ReaderEngine::Raised(const ReaderOutcome& outcome) {
  if (outcome.code != ERRORT_None) {
    SetError(outcome.code, state.IdleGeneration());
  }
  return outcome.Done();
}

bool ReaderEngine::ReadCard(const std::function<void()>& onSuccess) {
  const ReadGeneration generation = state.Begin();
  if (generation == kNoRead) {
    log.Log("ReadCardStartRead   auto = FALSE");
    log.Log("m_bReadCardStart_Begin true");
    return false;
  }
  const CallerInside inside(state, generation);
  search.Reset();
  const ReaderOutcome closed = reader.closeAutoFindCard(OverTest(generation));
  if (closed.code != ERRORT_None) {
    SetError(closed.code, generation);
  }
  log.Log("ReadCardStartRead   auto = FALSE");
  log.Log("read_sfz   BEGIN");
  // A reader that sent more than it was asked for goes unnoticed until the service has refused what
  // was read; the rest must not be taken for this read's answers.
  if (lastReadFailed.exchange(true)) {
    reader.ExpectStaleReports();
  }
  if (Told().Incomplete()) {
    LoadConfig(OverTest(generation));
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
  if (succeeded && onSuccess) {
    onSuccess();
  }
  return succeeded;
}

AbandonTest ReaderEngine::OverTest(ReadGeneration generation) {
  return [this, generation] { return !state.IsCurrent(generation); };
}

bool ReaderEngine::StartStep(ReadGeneration generation) {
  if (!state.IsCurrent(generation)) {
    return false;
  }
  ReaderOutcome outcome = StartReadThread();
  if (outcome.Done()) {
    outcome = OpenDevice(OverTest(generation));
  }
  if (!outcome.Done()) {
    if (outcome.code != ERRORT_None) {
      SetError(outcome.code, generation);
    }
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
  state.SetDnHex(generation, HexText(&answer[kAnswerDataOffset], kDnSize));
  const bool login = link->LoginNeeded();
  const ReadTask first{
      generation, login ? TaskType::login : TaskType::heartbeat, login ? "LOGIN" : "HEARTBEAT", {}};
  return state.QueueFirstTasks(
      first, {generation, TaskType::dn, "DN", Block(answer.begin(), answer.end())});
}

bool ReaderEngine::StartService(DecodeServerLink& link, ReadGeneration generation) {
  if (!state.IsCurrent(generation)) {
    return false;
  }
  if (link.ServerInit(generation)) {
    return state.IsCurrent(generation);
  }
  if (state.IsCurrent(generation) && SetError(ERRORT_ServiceLink, generation) != kNoRead) {
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
  ReaderOutcome outcome = reader.ReadDn(answer, OverTest(generation));
  if (!outcome.Done() && state.IsCurrent(generation)) {
    if (outcome.code != ERRORT_None) {
      ErrorLog().Log(StatusText(outcome.code));
    }
    ErrorLog().Log(kDnRetry);
    outcome = reader.ReadDn(answer, OverTest(generation));
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
  EndAtLink(state.Stop());
  log.Log("Read Done Stop");
}

// Ends what the link does for a read: connecting, looking names up, waiting for the service.
void ReaderEngine::EndAtLink(ReadGeneration generation) {
  if (const auto link = links.Get()) {
    link->EndRead(generation);
  }
}

bool ReaderEngine::SetLogging(bool on, bool detail) {
  log.Switch(on);
  logDetail = detail;
  links.Record(LinkSetting::log_switch, on ? "1" : "0");
  return links.Ensure() != nullptr;
}

bool ReaderEngine::SetDeviceType(bool serial) {
  return !search.On() && state.WhileNoReadRuns([this, serial] {
    reader.UseSerialPort(serial);
    state.SetServiceTimeout(kPatientServiceTimeoutMs);
  });
}

void ReaderEngine::SetBeepOnSuccess(bool on) { state.SetBeepOnSuccess(on); }

std::string ReaderEngine::GetCardUid(std::int32_t mode) {
  const IdleCaller caller(state);
  if (!caller) {
    return {};
  }
  const AbandonTest readBegun = [this] { return state.ReadRunning(); };
  reader.ForgetCardUid();
  if (!Raised(OpenDevice(readBegun))) {
    return {};
  }
  const bool found = (mode == 0 || mode == 1) && Raised(reader.getSfzCardUid(readBegun));
  if (!found && (mode == 0 || mode == 2)) {
    Raised(reader.ReadTypeACardUid(readBegun));
  }
  return reader.CardUidHex();
}

void ReaderEngine::Beep(std::uint32_t milliseconds) {
  const IdleCaller caller(state);
  if (caller) {
    Raised(reader.beep(milliseconds, [this] { return state.ReadRunning(); }));
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
  if (generation == kNoRead) {
    return kNoRead;
  }
  // Logged first: the caller wakes when the state fails, and asks for the logged text as well.
  ErrorLog().Log(StatusText(code));
  const ReadGeneration next = state.Fail(generation, code, StatusText(code));
  if (next != kNoRead) {
    EndAtLink(generation);
    log.Log("Read Done Error");
  }
  return next;
}

ReaderOutcome ReaderEngine::StartReadThread() {
  log.Log("Read Init Begin");
  {
    const std::lock_guard guard(readThreadLock);
    if (readThread == nullptr || !readThread->Running()) {
      auto started = std::make_unique<platform::CSThread>();
      if (!started->Start([this] { RunReadThread(); })) {
        return ReaderOutcome::Failed(ERRORT_ReadThread);
      }
      readThread = std::move(started);
    }
  }
  log.Log("Read Init Sucess");
  ErrorLog().ClearLastMessage();
  return {};
}

void ReaderEngine::RunReadThread() {
  while (state.AwaitWork()) {
    try {
      machine.Pass();
    } catch (...) {
      state.Stop();  // out of memory: the read ends, its caller is released
    }
    platform::WipeStack();
    clock.Sleep(kPassPauseMs);
  }
}

ReaderOutcome ReaderEngine::OpenDevice(const AbandonTest& abandoned) {
  bool newlyOpened = false;
  const ReaderOutcome outcome = reader.OpenDevice(newlyOpened, abandoned);
  if (newlyOpened) {
    links.Record(LinkSetting::device_code, Told().settings.appId + "&" + reader.AuthorizeCode() +
                                               "&" + hostDeviceCode + "&" + reader.VersionCode());
  }
  return outcome;
}

}  // namespace idcardreader
