#include "engine/read_state_machine.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "support/status_codes.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kSuccessBeepMs = 500;

const GbkText kDnLog("Read Thread DN：");
const GbkText kInputKeyLog("TRANST_ID_INPUTKEY：");
const GbkText kOutputKeyLog("TRANST_ID_OUTPUTKEY：");
const GbkText kSector12Log("TRANST_ID_SECTOR12：");
const GbkText kSector13Log("TRANST_ID_SECTOR13：");
const GbkText kSector21Log("TRANST_ID_SECTOR21：");

}  // namespace

struct ReadStateMachine::TaskRow {
  TaskType type;
  void (ReadStateMachine::*act)(const ReadTask& task);
};

const ReadStateMachine::TaskRow ReadStateMachine::kTaskTable[] = {
    {TaskType::heartbeat, &ReadStateMachine::PostHeartbeatOrLogin},
    {TaskType::login, &ReadStateMachine::PostHeartbeatOrLogin},
    {TaskType::dn, &ReadStateMachine::PostDn},
    {TaskType::await_input_key, &ReadStateMachine::AwaitDnAnswer},
    {TaskType::input_key_answer, &ReadStateMachine::PostInputKey},
    {TaskType::await_output_key, &ReadStateMachine::AwaitInputKeyAnswer},
    {TaskType::output_key_written, &ReadStateMachine::RelaySector},
    {TaskType::sector11, &ReadStateMachine::RelaySector},
    {TaskType::sector12, &ReadStateMachine::RelaySector},
    {TaskType::sector13, &ReadStateMachine::RelaySector},
    {TaskType::sector21, &ReadStateMachine::RelaySector},
    {TaskType::await_end, &ReadStateMachine::AwaitFinalAnswer},
};

// Each step but the first posts the file that the step before has read, and each but the last reads
// the next one.
struct ReadStateMachine::SectorStep {
  TaskType type;
  std::optional<ServiceCommand> posted;
  const CardFile* file;
  TaskType nextType;
  std::string_view nextText;
  const std::string_view logText;
  std::size_t loggedBytes;
};

const ReadStateMachine::SectorStep ReadStateMachine::kSectorSteps[] = {
    {TaskType::output_key_written, std::nullopt, &kFile11, TaskType::sector11, "SECTOR11",
     kOutputKeyLog, 214},
    {TaskType::sector11, ServiceCommand::sector11, &kFile12, TaskType::sector12, "SECTOR12",
     kSector12Log, 214},
    {TaskType::sector12, ServiceCommand::sector12, &kFile13, TaskType::sector13, "SECTOR13",
     kSector13Log, 1024},
    {TaskType::sector13, ServiceCommand::sector13, &kFile21, TaskType::sector21, "SECTOR21",
     kSector21Log, 1024},
    {TaskType::sector21, ServiceCommand::sector21, nullptr, TaskType::await_end, "",
     "TRANST_SERVERO_DONE begin", 0},
};

ReadStateMachine::ReadStateMachine(ReadState& state, CardReader& reader, LinkHolder& links,
                                   StatusSink& status, ActivityLog& log)
    : state(state), reader(reader), links(links), status(status), log(log) {}

void ReadStateMachine::Pass() {
  const ReadGeneration expired = state.ExpiredWait();
  if (expired != kNoRead) {
    status.SetError(ERRORT_ReadTimeout, expired);
    return;
  }
  state.ClearExpiredFields();
  ReadTask task;
  if (!state.TakeTask(task)) {
    CheckResult();
    return;
  }
  if (task.type == TaskType::await_end) {
    CollectFinalAnswer(task);
  }
  Act(task);
}

void ReadStateMachine::Act(const ReadTask& task) {
  const auto row =
      std::find_if(std::begin(kTaskTable), std::end(kTaskTable),
                   [&task](const TaskRow& candidate) { return candidate.type == task.type; });
  if (row != std::end(kTaskTable)) {
    (this->*row->act)(task);
  }
}

void ReadStateMachine::PostHeartbeatOrLogin(const ReadTask& task) {
  PostToLink(task,
             task.type == TaskType::login ? ServiceCommand::login : ServiceCommand::heartbeat);
  log.Log("Read Thread " + task.text);
}

void ReadStateMachine::PostDn(const ReadTask& task) {
  PostToLink(task, ServiceCommand::dn);
  Queue(task, TaskType::await_input_key);
  LogHex(kDnLog, task.block, 32);
}

void ReadStateMachine::PostInputKey(const ReadTask& task) {
  PostToLink(task, ServiceCommand::output_key);
  Queue(task, TaskType::await_output_key);
  LogHex(kInputKeyLog, task.block, kKeySize);
}

void ReadStateMachine::AwaitDnAnswer(const ReadTask& task) {
  Block key;
  if (!TakeKey(task, KeyKind::input, key)) {
    return;
  }
  log.Log("TRANST_ID_DN_GET");
  Answer answer{};
  const ReaderOutcome outcome = reader.WriteInputKey(key, answer, OverTest(task));
  if (!outcome.Done()) {
    RaiseFailure(task, outcome);
    return;
  }
  Queue(task, TaskType::input_key_answer, "INPUTKEY", Block(answer.begin(), answer.end()));
}

void ReadStateMachine::AwaitInputKeyAnswer(const ReadTask& task) {
  Block key;
  if (!TakeKey(task, KeyKind::output, key)) {
    return;
  }
  log.Log("TRANST_ID_INPUTKEY_GET");
  const ReaderOutcome outcome = reader.WriteOutputKey(key, OverTest(task));
  if (!outcome.Done()) {
    RaiseFailure(task, outcome);
    return;
  }
  Queue(task, TaskType::output_key_written, "OUTPUTKEY");
}

void ReadStateMachine::RelaySector(const ReadTask& task) {
  const SectorStep& step =
      *std::find_if(std::begin(kSectorSteps), std::end(kSectorSteps),
                    [&task](const SectorStep& candidate) { return candidate.type == task.type; });
  if (step.posted) {
    PostToLink(task, *step.posted);
  }
  Block bytes;
  if (step.file != nullptr) {
    const ReaderOutcome outcome = reader.ReadCardFile(*step.file, bytes, OverTest(task));
    if (!outcome.Done()) {
      RaiseFailure(task, outcome);
      return;
    }
  }
  if (log.On()) {
    LogHex(step.logText, bytes, step.loggedBytes);
  }
  Queue(task, step.nextType, std::string(step.nextText), std::move(bytes));
}

// Also after the read is done: if the fields are not collected in time, they are cleared.
void ReadStateMachine::AwaitFinalAnswer(const ReadTask& task) {
  Queue(task, TaskType::await_end);
  state.StartWaiting(task.generation);
}

// A service may be done with a read before its last block was sent. Only a success has brought
// fields then.
void ReadStateMachine::CheckResult() {
  const auto link = links.Get();
  const ReadGeneration generation = state.RelayedRead();
  if (link != nullptr) {
    CompleteWith(link->TakeResult(generation), generation, true);
  }
}

void ReadStateMachine::CollectFinalAnswer(const ReadTask& task) {
  if (const auto link = links.Get()) {
    CompleteWith(link->TakeResult(task.generation), task.generation, false);
  }
}

void ReadStateMachine::CompleteWith(std::map<ResultItem, std::string> items,
                                    ReadGeneration generation, bool early) {
  if (items.empty()) {
    return;
  }
  const auto logItem = [this, &items](ResultItem item) {
    const auto logged = items.find(item);
    if (logged != items.end()) {
      log.Log(std::string(ItemLabel(item)) + logged->second);
    }
  };
  if (!early) {
    logItem(ResultItem::done);
  }
  ReadResult result;
  result.succeeded = items.count(ResultItem::success) != 0;
  logItem(result.succeeded ? ResultItem::success : ResultItem::fail);
  if (items.count(ResultItem::fail) != 0) {
    if (const auto link = links.Get()) {
      result.failureText = link->TakeFailureText();
    }
  }
  if (result.succeeded || !early) {
    std::erase_if(items, [](const auto& entry) { return !OfTheCard(entry.first); });
    for (const auto& entry : items) {
      logItem(entry.first);
    }
    result.fields = std::move(items);
  }
  const bool succeeded = result.succeeded;
  state.Complete(generation, std::move(result), early);
  log.Log(early ? "Read Done 2" : "Read Done");
  if (succeeded && state.BeepOnSuccess()) {
    // The caller was woken already: the card is read, whatever becomes of the beep.
    reader.beep(kSuccessBeepMs, [this, generation] { return !state.IsCurrent(generation); });
  }
}

void ReadStateMachine::PostToLink(const ReadTask& task, ServiceCommand command) {
  const auto link = links.Get();
  if (link != nullptr && link->Started(task.generation)) {
    link->PostCommand(task.generation, command, task.block);
  }
}

// False when there is no key: the task then waits on, unless the read is over.
bool ReadStateMachine::TakeKey(const ReadTask& task, KeyKind kind, Block& key) {
  const auto link = links.Get();
  if (link == nullptr || !link->Started(task.generation)) {
    status.SetError(ERRORT_ServiceLink, task.generation);
    return false;
  }
  key = link->TakeKey(task.generation, kind);
  if (!key.empty()) {
    return true;
  }
  CheckResult();
  if (!state.IsOver(task.generation)) {
    state.PostTask(task);
  }
  return false;
}

AbandonTest ReadStateMachine::OverTest(const ReadTask& task) {
  return [this, generation = task.generation] { return state.IsOver(generation); };
}

void ReadStateMachine::Queue(const ReadTask& after, TaskType type, std::string text, Block block) {
  state.PostTask({after.generation, type, std::move(text), std::move(block)});
}

void ReadStateMachine::RaiseFailure(const ReadTask& task, const ReaderOutcome& outcome) {
  if (outcome.kind == ReaderOutcome::Kind::abandoned) {
    return;
  }
  status.SetError(outcome.code == ERRORT_None ? ERRORT_ReaderAnswer : outcome.code,
                  task.generation);
}

void ReadStateMachine::LogHex(std::string_view label, BlockView bytes, std::size_t count) {
  if (log.On()) {
    const std::size_t shown = std::min(count, bytes.size());
    log.Log(std::string(label) + HexText(bytes.data(), shown));
  }
}

}  // namespace idcardreader
