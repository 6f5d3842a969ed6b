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

ReaderEngine::ReaderEngine(const EngineBackends& backends)
    : clock(backends.clock),
      executableFolder(backends.executableFolder),
      libraryFolder(backends.libraryFolder),
      log(kLogName, backends.clock),
      state(backends.clock),
      links(backends.sockets, backends.clock, backends.dialect),
      reader(backends.reader, log, backends.clock),
      machine(state, reader, links, log,
              [this](std::int32_t code, ReadGeneration generation) { SetError(code, generation); }),
      hostDeviceCode(idcardreader::HostDeviceCode()) {
  LoadConfig(backends.givenUp);  // without its files the engine still drives the reader
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
  cardReader_AutoOn = false;
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
  log.Close();
  state.EndShutdown();
  return true;
}

bool ReaderEngine::FindCard() {
  log.Log("\nReadCardStartRead");
  log.Log("ReadCardStartRead   auto = TRUE");
  const IdleCaller caller(state);
  return caller && SearchOnce();
}

bool ReaderEngine::PrepareSearch() {
  return state.ForgetLastRead() && Succeeded(StartReadThread()) &&
         Succeeded(OpenDevice(ReadBegun()));
}

bool ReaderEngine::Succeeded(const ReaderOutcome& outcome) {
  return Succeeded(outcome, state.IdleGeneration());
}

bool ReaderEngine::Succeeded(const ReaderOutcome& outcome, ReadGeneration generation) {
  if (outcome.code != ERRORT_None) {
    SetError(outcome.code, generation);
  }
  return outcome.Done();
}

bool ReaderEngine::ReadCardStartRead(const std::function<void()>& onSuccess) {
  log.Log("\nReadCardStartRead");
  const ReadGeneration generation = state.Begin();
  if (generation == kNoRead) {
    log.Log("ReadCardStartRead   auto = FALSE");
    log.Log("m_bReadCardStart_Begin true");
    return false;
  }
  const CallerInside inside(state, generation);
  cardReader_AutoOn = false;
  Succeeded(reader.closeAutoFindCard(OverTest(generation)), generation);
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

AbandonTest ReaderEngine::ReadBegun() {
  return [this] { return state.ReadRunning(); };
}

bool ReaderEngine::StartStep(ReadGeneration generation) {
  if (!state.IsCurrent(generation) || !Succeeded(StartReadThread(), generation) ||
      !Succeeded(OpenDevice(OverTest(generation)), generation)) {
    return false;
  }
  const auto link = links.Ensure();
  Answer answer{};
  if (!StartService(*link, generation) || !ReadDn(generation, answer)) {
    return false;
  }
  state.SetDnHex(generation, HexText(&answer[kAnswerDataOffset], kDnSize));
  return state.QueueFirstTasks(
      {generation, link->LoginNeeded() ? TaskType::login : TaskType::heartbeat, {}},
      {generation, TaskType::dn, Block(answer.begin(), answer.end())});
}

bool ReaderEngine::StartService(DecodeServerLink& link, ReadGeneration generation) {
  if (!state.IsCurrent(generation)) {
    return false;
  }
  ServiceSettings told;
  {
    const std::lock_guard guard(startUpLock);
    told = serviceSettings;
  }
  if (link.ServerInit(generation, told)) {
    return state.IsCurrent(generation);
  }
  if (state.IsCurrent(generation) && SetError(ERRORT_ServiceLink, generation) != kNoRead) {
    // Whatever the link could not do stands behind the code as its cause.
    const std::string cause = link.TakeFailureText();
    if (!cause.empty()) {
      ErrorLog().Log(cause);
    }
  }
  return false;
}

bool ReaderEngine::ReadDn(ReadGeneration generation, Answer& answer) {
  for (const bool lastAttempt : {false, true}) {
    const ReaderOutcome outcome = reader.ReadDn(answer, OverTest(generation));
    if (outcome.Done() || (!lastAttempt && !state.IsCurrent(generation))) {
      return outcome.Done() && state.IsCurrent(generation);
    }
    if (outcome.code != ERRORT_None) {
      ErrorLog().Log(StatusText(outcome.code));
    }
    if (!lastAttempt) {
      ErrorLog().Log(kDnRetry);
    }
  }
  SetError(ERRORT_ReadDn, generation);
  return false;
}

void ReaderEngine::StopRead() {
  cardReader_AutoOn = false;
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
  links.SwitchLog(on);
  return links.Ensure() != nullptr;
}

bool ReaderEngine::SetDeviceType(bool serial) {
  return !SearchIsOn() && state.WhileNoReadRuns([this, serial] {
    reader.UseSerialPort(serial);
    state.SetServiceTimeout(kPatientServiceTimeoutMs);
  });
}

std::string ReaderEngine::GetCardUid(std::int32_t mode) {
  const IdleCaller caller(state);
  if (!caller) {
    return {};
  }
  reader.ForgetCardUid();
  if (lastReadFailed.exchange(false)) {
    reader.ExpectStaleReports();
  }
  if (!Succeeded(OpenDevice(ReadBegun()))) {
    return {};
  }
  const bool found = (mode == 0 || mode == 1) && Succeeded(reader.getSfzCardUid(ReadBegun()));
  if (!found && (mode == 0 || mode == 2)) {
    Succeeded(reader.ReadTypeACardUid(ReadBegun()));
  }
  return reader.Known().cardUidHex;
}

void ReaderEngine::Beep(std::uint32_t milliseconds) {
  const IdleCaller caller(state);
  if (caller) {
    Succeeded(reader.beep(milliseconds, ReadBegun()));
  }
}

std::string ReaderEngine::GetLastErrorText() {
  if (const auto text = state.LastErrorText()) {
    return *text + ErrorLog().LastMessage();
  }
  ErrorLog().ClearLastMessage();
  return {};
}

ReadGeneration ReaderEngine::SetError(std::int32_t code, ReadGeneration generation) {
  if (generation == kNoRead) {
    return kNoRead;
  }
  // Logged first: the caller wakes when the state fails, and asks for the logged text as well.
  ErrorLog().Log(StatusText(code));
  const ReadGeneration next = state.Fail(generation, StatusText(code));
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
    const CardReader::Info known = reader.Known();
    const std::lock_guard guard(startUpLock);
    serviceSettings.identity = IdentityOf(startUp.appId + "&" + known.authorizeCode + "&" +
                                          hostDeviceCode + "&" + known.versionCode);
  }
  return outcome;
}

}  // namespace idcardreader
