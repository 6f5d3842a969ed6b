#include "engine/read_state_machine.h"

#include <algorithm>
#include <optional>
#include <string>
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

// Each step but the first posts the file that the step before has read, and each but the last reads
// the next one.
struct FileStep {
  TaskType type;
  std::optional<ServiceCommand> posted;
  const CardFile* file;
  TaskType nextType;
  std::string_view logText;
  std::size_t loggedBytes;
};

const FileStep kFileSteps[] = {
    {TaskType::output_key_written, std::nullopt, &kFile11, TaskType::sector11, kOutputKeyLog, 214},
    {TaskType::sector11, ServiceCommand::sector11, &kFile12, TaskType::sector12, kSector12Log, 214},
    {TaskType::sector12, ServiceCommand::sector12, &kFile13, TaskType::sector13, kSector13Log,
     1024},
    {TaskType::sector13, ServiceCommand::sector13, &kFile21, TaskType::sector21, kSector21Log,
     1024},
    {TaskType::sector21, ServiceCommand::sector21, nullptr, TaskType::await_end,
     "TRANST_SERVERO_DONE begin", 0},
};

}  // namespace

ReadStateMachine::ReadStateMachine(ReadState& state, CardReader& reader, LinkHolder& links,
                                   ActivityLog& log, RaiseCode raiseCode)
    : state(state), reader(reader), links(links), log(log), raiseCode(std::move(raiseCode)) {}

void ReadStateMachine::Pass() {
  const ReadGeneration expired = state.ExpiredWait();
  if (expired != kNoRead) {
    raiseCode(ERRORT_ReadTimeout, expired);
    return;
  }
  state.ClearExpiredFields();
  ReadTask task;
  if (state.TakeTask(task)) {
    Act(task);
  }
}

void ReadStateMachine::Act(const ReadTask& task) {
  Block key;
  Answer answer{};
  switch (task.type) {
    case TaskType::login:
      PostToLink(task, ServiceCommand::login);
      log.Log("Read Thread LOGIN");
      break;
    case TaskType::heartbeat:
      PostToLink(task, ServiceCommand::heartbeat);
      log.Log("Read Thread HEARTBEAT");
      break;
    case TaskType::dn:
      PostToLink(task, ServiceCommand::dn);
      Queue(task, TaskType::await_input_key);
      LogHex(kDnLog, task.block, 32);
      break;
    case TaskType::await_input_key:
      if (TakeKey(task, KeyKind::input, key)) {
        log.Log("TRANST_ID_DN_GET");
        if (Succeeded(task, reader.WriteInputKey(key, answer, OverTest(task)))) {
          Queue(task, TaskType::input_key_answer, Block(answer.begin(), answer.end()));
        }
      }
      break;
    case TaskType::input_key_answer:
      PostToLink(task, ServiceCommand::output_key);
      Queue(task, TaskType::await_output_key);
      LogHex(kInputKeyLog, task.block, kKeySize);
      break;
    case TaskType::await_output_key:
      if (TakeKey(task, KeyKind::output, key)) {
        log.Log("TRANST_ID_INPUTKEY_GET");
        if (Succeeded(task, reader.WriteOutputKey(key, OverTest(task)))) {
          Queue(task, TaskType::output_key_written);
        }
      }
      break;
    case TaskType::await_end:
      CheckResult(task.generation, false);
      // Also after the read is done: if the fields are not collected in time, they are cleared.
      Queue(task, TaskType::await_end);
      state.StartWaiting(task.generation);
      break;
    default:
      RelayFile(task);
      break;
  }
}

void ReadStateMachine::RelayFile(const ReadTask& task) {
  const auto step =
      std::find_if(std::begin(kFileSteps), std::end(kFileSteps),
                   [&task](const FileStep& candidate) { return candidate.type == task.type; });
  if (step->posted) {
    PostToLink(task, *step->posted);
  }
  Block bytes;
  if (step->file == nullptr ||
      Succeeded(task, reader.ReadCardFile(*step->file, bytes, OverTest(task)))) {
    LogHex(step->logText, bytes, step->loggedBytes);
    Queue(task, step->nextType, std::move(bytes));
  }
}

void ReadStateMachine::CheckResult(ReadGeneration generation, bool early) {
  const auto link = links.Get();
  auto items = link != nullptr ? link->TakeResult(generation) : IdentityRecord();
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
  const bool succeeded = result.succeeded = items.count(ResultItem::success) != 0;
  logItem(succeeded ? ResultItem::success : ResultItem::fail);
  if (items.count(ResultItem::fail) != 0) {
    result.failureText = link->TakeFailureText();
  }
  // Ended early, only a success has brought fields.
  if (succeeded || !early) {
    std::erase_if(items, [](const auto& entry) { return !OfTheCard(entry.first); });
    for (const auto& entry : items) {
      logItem(entry.first);
    }
    result.fields = std::move(items);
  }
  state.Complete(generation, std::move(result), early);
  log.Log(early ? "Read Done 2" : "Read Done");
  if (succeeded && beepOnSuccess) {
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
    raiseCode(ERRORT_ServiceLink, task.generation);
    return false;
  }
  key = link->TakeKey(task.generation, kind);
  if (!key.empty()) {
    return true;
  }
  CheckResult(state.RelayedRead(), true);
  if (!state.IsOver(task.generation)) {
    state.PostTask(task);
  }
  return false;
}

AbandonTest ReadStateMachine::OverTest(const ReadTask& task) {
  return [this, generation = task.generation] { return state.IsOver(generation); };
}

void ReadStateMachine::Queue(const ReadTask& after, TaskType type, Block block) {
  state.PostTask({after.generation, type, std::move(block)});
}

// Raises the code of a failure; whatever failed without one counts as a bad answer.
bool ReadStateMachine::Succeeded(const ReadTask& task, const ReaderOutcome& outcome) {
  if (outcome.kind == ReaderOutcome::Kind::failed) {
    raiseCode(outcome.code == ERRORT_None ? ERRORT_ReaderAnswer : outcome.code, task.generation);
  }
  return outcome.Done();
}

void ReadStateMachine::LogHex(std::string_view label, BlockView bytes, std::size_t count) {
  if (log.On()) {
    const std::size_t shown = std::min(count, bytes.size());
    log.Log(std::string(label) + HexText(bytes.data(), shown));
  }
}

}  // namespace idcardreader
