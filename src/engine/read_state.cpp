#include "engine/read_state.h"

#include <mutex>
#include <utility>

#include "support/hex_text.h"

namespace idcardreader {
namespace {

constexpr char kCompletionEventName[] = "UserData";
constexpr std::size_t kLongestErrorHistory = 1000;
constexpr std::size_t kLongestBlockText = 2560;

}  // namespace

ReadState::ReadState() : completionEvent(std::make_shared<platform::Event>(kCompletionEventName)) {}

ReadGeneration ReadState::Begin() {
  const std::lock_guard guard(stateLock);
  for (;;) {
    if (m_bReadCardStart_Begin || shuttingDown) {
      return kNoRead;
    }
    if (!callerInside) {
      break;
    }
    callerChange.Wait(stateLock);  // ended by Leave
  }
  m_bReadCardStart_Begin = true;
  callerInside = true;
  if (completionEvent == nullptr) {
    completionEvent = std::make_shared<platform::Event>(kCompletionEventName);
  }
  completionEvent->Reset();
  ResetRead();
  return EndCurrent();
}

void ReadState::Leave(ReadGeneration leaving) {
  const std::lock_guard guard(stateLock);
  if (generation == leaving && m_bReadCardStart_Begin) {
    m_bReadCardStart_Begin = false;
    EndCurrent();
  }
  callerInside = false;
  callerChange.NotifyAll();
}

bool ReadState::Prepare(ReadGeneration prepared) {
  const std::lock_guard guard(stateLock);
  if (generation != prepared) {
    return false;
  }
  ResetRead();
  return true;
}

ReadGeneration ReadState::PrepareIdle() {
  const std::lock_guard guard(stateLock);
  if (m_bReadCardStart_Begin || callerInside || shuttingDown) {
    return kNoRead;
  }
  ResetRead();
  return EndCurrent();
}

bool ReadState::QueueFirstTasks(ReadTask first, ReadTask second) {
  const std::lock_guard guard(stateLock);
  if (generation != first.generation) {
    return false;
  }
  taskQueue.push_back(std::move(first));
  taskQueue.push_back(std::move(second));
  tasksQueued = true;
  return true;
}

bool ReadState::WaitForEnd(ReadGeneration awaited) {
  for (;;) {
    std::shared_ptr<platform::Event> event;
    {
      const std::lock_guard guard(stateLock);
      if (generation != awaited) {
        // A stop may have come between the end of the read and this caller, who is told of no card.
        resultFields.clear();
        return false;
      }
      if (readDone) {
        return readOk;
      }
      event = completionEvent;
    }
    event->Wait();
  }
}

ReadGeneration ReadState::Stop() {
  const std::lock_guard guard(stateLock);
  const ReadGeneration stopped = generation;
  readOk = false;
  readDone = true;
  waitingForService = false;
  m_bReadCardStart_Begin = false;
  taskQueue.clear();
  EndCurrent();
  if (completionEvent != nullptr) {
    completionEvent->Set();
  }
  return stopped;
}

bool ReadState::ReadRunning() {
  const std::lock_guard guard(stateLock);
  return m_bReadCardStart_Begin;
}

ReadGeneration ReadState::CurrentGeneration() {
  const std::lock_guard guard(stateLock);
  return generation;
}

bool ReadState::IsCurrent(ReadGeneration asked) { return CurrentGeneration() == asked; }

bool ReadState::IsOver(ReadGeneration asked) {
  const std::lock_guard guard(stateLock);
  return generation != asked || readDone;
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

bool ReadState::TasksQueued() {
  const std::lock_guard guard(stateLock);
  return tasksQueued;
}

void ReadState::ClearTasks() {
  const std::lock_guard guard(stateLock);
  taskQueue.clear();
}

void ReadState::StartWaiting(ReadGeneration waiting, std::uint32_t tick) {
  const std::lock_guard guard(stateLock);
  if (generation == waiting && !waitingForService) {
    waitingForService = true;
    waitStartTick = tick;
  }
}

ReadGeneration ReadState::ExpiredWait(std::uint32_t tick) {
  const std::lock_guard guard(stateLock);
  const bool expired = waitingForService && static_cast<std::int32_t>(tick - waitStartTick) >
                                                static_cast<std::int32_t>(serviceTimeoutMs);
  return expired ? generation : kNoRead;
}

void ReadState::Complete(bool succeeded) {
  const std::lock_guard guard(stateLock);
  readOk = succeeded;
  readDone = true;
  waitingForService = false;
  m_bReadCardStart_Begin = false;
  if (completionEvent != nullptr) {
    completionEvent->Set();
  }
}

ReadGeneration ReadState::Fail(ReadGeneration failed, std::int32_t code, std::string_view text) {
  const std::lock_guard guard(stateLock);
  if (generation != failed) {
    return kNoRead;
  }
  resultFields.clear();
  taskQueue.clear();
  errorHistory.push_back(code);
  if (errorHistory.size() > kLongestErrorHistory) {
    errorHistory.pop_front();
  }
  lastErrorText = text;
  readOk = false;
  readDone = true;
  waitingForService = false;
  m_bReadCardStart_Begin = false;
  const ReadGeneration next = EndCurrent();
  if (completionEvent != nullptr) {
    completionEvent->Set();
  }
  return next;
}

void ReadState::SetLastErrorText(std::string text) {
  const std::lock_guard guard(stateLock);
  lastErrorText = std::move(text);
}

std::vector<std::int32_t> ReadState::ErrorHistory() {
  const std::lock_guard guard(stateLock);
  return {errorHistory.begin(), errorHistory.end()};
}

std::string ReadState::LastErrorText() {
  const std::lock_guard guard(stateLock);
  return lastErrorText;
}

bool ReadState::ReadOk() {
  const std::lock_guard guard(stateLock);
  return readOk;
}

void ReadState::StoreResult(std::int32_t item, std::string text) {
  const std::lock_guard guard(stateLock);
  resultFields[item] = std::move(text);
}

std::string ReadState::GetResultText(std::int32_t item) {
  const std::lock_guard guard(stateLock);
  const auto found = resultFields.find(item);
  return found == resultFields.end() ? std::string() : found->second;
}

bool ReadState::GetResultBytes(std::int32_t item, std::vector<std::uint8_t>& bytes) {
  const std::lock_guard guard(stateLock);
  const auto found = resultFields.find(item);
  if (found == resultFields.end() || found->second.size() > kLongestBlockText) {
    return false;
  }
  const std::string& hex = found->second;
  bytes.resize(hex.size() / 2);
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    bytes[index] = HexPairValue(hex[2 * index], hex[2 * index + 1]);
  }
  return true;
}

void ReadState::SetDnHex(std::string hex) {
  const std::lock_guard guard(stateLock);
  dnHex = std::move(hex);
}

std::string ReadState::DnHex() {
  const std::lock_guard guard(stateLock);
  return dnHex;
}

void ReadState::SetServiceTimeout(std::uint32_t milliseconds) {
  const std::lock_guard guard(stateLock);
  serviceTimeoutMs = milliseconds;
}

void ReadState::SetBeepOnSuccess(bool on) {
  const std::lock_guard guard(stateLock);
  beepOnSuccess = on;
}

bool ReadState::BeepOnSuccess() {
  const std::lock_guard guard(stateLock);
  return beepOnSuccess;
}

bool ReadState::BeginShutdown() {
  const std::lock_guard guard(stateLock);
  if (shuttingDown) {
    while (shuttingDown) {
      callerChange.Wait(stateLock);  // ended by EndShutdown
    }
    return false;
  }
  shuttingDown = true;
  Stop();
  while (callerInside) {
    callerChange.Wait(stateLock);  // ended by Leave: the stop has released the caller
  }
  return true;
}

void ReadState::EndShutdown() {
  const std::lock_guard guard(stateLock);
  taskQueue.clear();
  completionEvent.reset();
  shuttingDown = false;
  callerChange.NotifyAll();
}

void ReadState::ResetRead() {
  taskQueue.clear();
  resultFields.clear();
  tasksQueued = false;
  readOk = false;
  readDone = false;
  waitingForService = false;
  lastErrorText.clear();
}

// Whatever belongs to the generation so far is over; returns the new one.
ReadGeneration ReadState::EndCurrent() { return ++generation; }

}  // namespace idcardreader
