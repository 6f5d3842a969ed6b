#include "engine/read_state.h"

#include <mutex>
#include <utility>

#include "support/text.h"

namespace idcardreader {
namespace {

constexpr char kCompletionEventName[] = "UserData";
constexpr std::size_t kLongestBlockText = 2560;
// The read thread clears fields with a code of their own; whoever asks for them does so only when
// it is late, or when there is none.
constexpr std::uint32_t kThreadGraceMs = 100;

}  // namespace

ReadState::ReadState(platform::Clock& clock)
    : clock(clock), completionEvent(kCompletionEventName) {}

ReadGeneration ReadState::Begin() {
  const std::lock_guard guard(stateLock);
  for (;;) {
    if (Running()) {
      return kNoRead;
    }
    if (shutdown != Shutdown::none) {
      // Whoever is refused a card must not be shown the one before.
      resultFields.clear();
      return kNoRead;
    }
    if (!callerInside) {
      break;
    }
    callerChange.Wait(stateLock);  // ended by Leave
  }
  callerInside = true;
  completionEvent.Reset();
  ForgetRead();
  dnHex.clear();
  stage = Stage::starting;
  workEvent.Set();
  return EndGeneration();
}

void ReadState::Leave(ReadGeneration leaving) {
  const std::lock_guard guard(stateLock);
  if (generation == leaving && Running()) {
    stage = Stage::idle;
    EndGeneration();
  }
  callerInside = false;
  callerChange.NotifyAll();
}

bool ReadState::QueueFirstTasks(ReadTask first, ReadTask second) {
  const std::lock_guard guard(stateLock);
  if (generation != first.generation) {
    return false;
  }
  taskQueue.push_back(std::move(first));
  taskQueue.push_back(std::move(second));
  stage = Stage::relaying;
  return true;
}

bool ReadState::WaitForEnd(ReadGeneration awaited) {
  for (;;) {
    {
      const std::lock_guard guard(stateLock);
      if (generation != awaited) {
        // A stop may have come between the end of the read and this caller, who is told of no card.
        resultFields.clear();
        return false;
      }
      if (Done()) {
        return stage == Stage::succeeded;
      }
    }
    completionEvent.Wait();  // ended by EndRead
  }
}

bool ReadState::EnterIdle() {
  const std::lock_guard guard(stateLock);
  if (Running() || callerInside || shutdown != Shutdown::none) {
    return false;
  }
  ++idleCallers;
  return true;
}

void ReadState::LeaveIdle() {
  const std::lock_guard guard(stateLock);
  --idleCallers;
  callerChange.NotifyAll();
}

bool ReadState::ForgetLastRead() {
  const std::lock_guard guard(stateLock);
  if (Running() || callerInside) {
    return false;
  }
  ForgetRead();
  EndGeneration();
  return true;
}

ReadGeneration ReadState::IdleGeneration() {
  const std::lock_guard guard(stateLock);
  return Running() || callerInside ? kNoRead : generation;
}

ReadGeneration ReadState::Stop() {
  const std::lock_guard guard(stateLock);
  const ReadGeneration stopped = generation;
  EndRead(Stage::failed);
  taskQueue.clear();
  EndGeneration();
  return stopped;
}

bool ReadState::ReadRunning() {
  const std::lock_guard guard(stateLock);
  return Running() || callerInside;
}

bool ReadState::IsCurrent(ReadGeneration asked) {
  const std::lock_guard guard(stateLock);
  return generation == asked;
}

bool ReadState::IsOver(ReadGeneration asked) {
  const std::lock_guard guard(stateLock);
  return generation != asked || Done();
}

void ReadState::PostTask(ReadTask task) {
  const std::lock_guard guard(stateLock);
  if (generation == task.generation) {
    taskQueue.push_back(std::move(task));
  }
}

bool ReadState::TakeTask(ReadTask& task) {
  const std::lock_guard guard(stateLock);
  while (!taskQueue.empty()) {
    task = std::move(taskQueue.front());
    taskQueue.pop_front();
    if (task.generation == generation) {
      return true;
    }
  }
  return false;
}

ReadGeneration ReadState::RelayedRead() {
  const std::lock_guard guard(stateLock);
  return stage == Stage::relaying ? generation : kNoRead;
}

void ReadState::StartWaiting(ReadGeneration waiting) {
  const std::lock_guard guard(stateLock);
  if (generation == waiting && !waitStartTick) {
    waitStartTick = clock.TickCount();
  }
}

ReadGeneration ReadState::ExpiredWait() {
  const std::lock_guard guard(stateLock);
  const bool expired =
      waitStartTick && static_cast<std::int32_t>(clock.TickCount() - *waitStartTick) >
                           static_cast<std::int32_t>(serviceTimeoutMs);
  return expired ? generation : kNoRead;
}

void ReadState::Complete(ReadGeneration completed, ReadResult result, bool clearTasks) {
  const std::lock_guard guard(stateLock);
  if (generation != completed) {
    return;
  }
  resultFields.merge(result.fields);
  fieldsTick = clock.TickCount();
  if (!result.failureText.empty()) {
    lastErrorText = std::move(result.failureText);
  }
  if (clearTasks) {
    taskQueue.clear();
  }
  EndRead(result.succeeded ? Stage::succeeded : Stage::failed);
}

void ReadState::ClearExpiredFields() {
  const std::lock_guard guard(stateLock);
  // A wait that goes on ends with a code of its own, which clears them.
  if (!waitStartTick && FieldsExpired(0)) {
    ForgetCard();
  }
}

bool ReadState::AwaitWork() {
  for (;;) {
    {
      const std::lock_guard guard(stateLock);
      if (shutdown != Shutdown::none) {
        return false;
      }
      if (Running() || !taskQueue.empty() || waitStartTick || !resultFields.empty()) {
        return true;
      }
    }
    workEvent.Wait();  // ended by Begin and BeginShutdown
  }
}

ReadGeneration ReadState::Fail(ReadGeneration failed, std::string_view text) {
  const std::lock_guard guard(stateLock);
  if (generation != failed) {
    return kNoRead;
  }
  resultFields.clear();
  if (stage == Stage::succeeded) {
    ForgetCard();
  }
  taskQueue.clear();
  lastErrorText = text;
  EndRead(Stage::failed);
  return EndGeneration();
}

std::optional<std::string> ReadState::LastErrorText() {
  const std::lock_guard guard(stateLock);
  return stage == Stage::succeeded ? std::nullopt : std::optional(lastErrorText);
}

std::string ReadState::GetResultText(ResultItem item) {
  const std::lock_guard guard(stateLock);
  ForgetExpired();
  const auto found = resultFields.find(item);
  return found == resultFields.end() ? std::string() : found->second;
}

bool ReadState::GetResultBytes(ResultItem item, std::vector<std::uint8_t>& bytes) {
  const std::string hex = GetResultText(item);
  if (hex.empty() || hex.size() > kLongestBlockText) {
    return false;
  }
  bytes.resize(hex.size() / 2);
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    bytes[index] = HexPairValue(hex[2 * index], hex[2 * index + 1]);
  }
  return true;
}

void ReadState::SetDnHex(ReadGeneration read, std::string hex) {
  const std::lock_guard guard(stateLock);
  if (generation == read) {
    dnHex = std::move(hex);
  }
}

std::string ReadState::DnHex() {
  const std::lock_guard guard(stateLock);
  ForgetExpired();
  return dnHex;
}

void ReadState::SetServiceTimeout(std::uint32_t milliseconds) {
  const std::lock_guard guard(stateLock);
  serviceTimeoutMs = milliseconds;
}

bool ReadState::WhileNoReadRuns(const std::function<void()>& change) {
  const std::lock_guard guard(stateLock);
  if (Running()) {
    return false;
  }
  change();
  return true;
}

bool ReadState::BeginShutdown(Shutdown kind, ReadGeneration& stopped) {
  const std::lock_guard guard(stateLock);
  bool another = false;
  while (shutdown == Shutdown::passing) {
    another = true;
    callerChange.Wait(stateLock);  // ended by EndShutdown
  }
  if (shutdown == Shutdown::for_good || (another && kind == Shutdown::passing)) {
    return false;
  }
  shutdown = kind;
  stopped = Stop();
  return true;
}

void ReadState::AwaitCallers() {
  const std::lock_guard guard(stateLock);
  while (callerInside || idleCallers > 0) {
    callerChange.Wait(stateLock);  // ended by Leave and LeaveIdle: the stop has released a read
  }
  workEvent.Set();
}

void ReadState::EndShutdown() {
  const std::lock_guard guard(stateLock);
  taskQueue.clear();
  if (shutdown == Shutdown::passing) {
    shutdown = Shutdown::none;
  }
  callerChange.NotifyAll();
}

void ReadState::ForgetExpired() {
  if (FieldsExpired(waitStartTick ? kThreadGraceMs : 0)) {
    ForgetCard();
  }
}

// What a good read has brought: behind it, the DN goes with the fields.
void ReadState::ForgetCard() {
  resultFields.clear();
  std::string().swap(dnHex);  // a text that is only cleared keeps its bytes
}

void ReadState::ForgetRead() {
  taskQueue.clear();
  resultFields.clear();
  stage = Stage::idle;
  waitStartTick.reset();
  lastErrorText.clear();
}

// Whatever belongs to the generation so far is over; returns the new one.
ReadGeneration ReadState::EndGeneration() { return ++generation; }

// The one place where a read ends, well or not.
void ReadState::EndRead(Stage end) {
  stage = end;
  waitStartTick.reset();
  completionEvent.Set();
}

bool ReadState::FieldsExpired(std::uint32_t graceMs) const {
  return !resultFields.empty() &&
         static_cast<std::int32_t>(clock.TickCount() - fieldsTick - graceMs) >
             static_cast<std::int32_t>(serviceTimeoutMs);
}

}  // namespace idcardreader
