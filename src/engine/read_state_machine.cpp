#include "engine/read_state_machine.h"

#include <algorithm>
#include <utility>

#include "support/gbk_text.h"
#include "support/hex_text.h"
#include "support/status_codes.h"

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
  std::int32_t type;
  void (ReadStateMachine::*act)(const ReadTask& task);
};

const ReadStateMachine::TaskRow ReadStateMachine::kTaskTable[] = {
    {kItemHeartbeat, &ReadStateMachine::PostHeartbeatOrLogin},
    {kItemLogin, &ReadStateMachine::PostHeartbeatOrLogin},
    {kItemDn, &ReadStateMachine::PostDn},
    {kItemDnAnswer, &ReadStateMachine::AwaitDnAnswer},
    {kItemInputKey, &ReadStateMachine::PostInputKey},
    {kItemInputKeyAnswer, &ReadStateMachine::AwaitInputKeyAnswer},
    {kItemOutputKey, &ReadStateMachine::RelaySector},
    {kItemSector11, &ReadStateMachine::RelaySector},
    {kItemSector12, &ReadStateMachine::RelaySector},
    {kItemSector13, &ReadStateMachine::RelaySector},
    {kItemSector21, &ReadStateMachine::RelaySector},
    {kItemDone, &ReadStateMachine::AwaitFinalAnswer},
};

// Each step but the first posts the file that the step before has read, and each but the last reads
// the next one.
struct ReadStateMachine::SectorStep {
  std::int32_t type;
  bool posts;
  const CardFile* file;
  std::int32_t nextType;
  std::string_view nextText;
  const std::string_view logText;
  std::size_t loggedBytes;
};

const ReadStateMachine::SectorStep ReadStateMachine::kSectorSteps[] = {
    {kItemOutputKey, false, &kFile11, kItemSector11, "SECTOR11", kOutputKeyLog, 214},
    {kItemSector11, true, &kFile12, kItemSector12, "SECTOR12", kSector12Log, 214},
    {kItemSector12, true, &kFile13, kItemSector13, "SECTOR13", kSector13Log, 1024},
    {kItemSector13, true, &kFile21, kItemSector21, "SECTOR21", kSector21Log, 1024},
    {kItemSector21, true, nullptr, kItemDone, "", "TRANST_SERVERO_DONE begin", 0},
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
  if (task.type == kItemDone) {
    CollectFinalAnswer(task);
  }
  Act(task);
}

void ReadStateMachine::Act(const ReadTask& task) {
  const auto row =
      std::find_if(std::begin(kTaskTable), std::end(kTaskTable), [&task](const TaskRow& candidate) {
        return candidate.type == static_cast<std::int32_t>(task.type);
      });
  if (row != std::end(kTaskTable)) {
    (this->*row->act)(task);
  }
}

void ReadStateMachine::PostHeartbeatOrLogin(const ReadTask& task) {
  PostToLink(task);
  log.Log("Read Thread " + task.text);
}

void ReadStateMachine::PostDn(const ReadTask& task) {
  PostToLink(task);
  Queue(task, kItemDnAnswer);
  LogHex(kDnLog, task.block, 32);
}

void ReadStateMachine::PostInputKey(const ReadTask& task) {
  PostToLink(task);
  Queue(task, kItemInputKeyAnswer);
  LogHex(kInputKeyLog, task.block, kKeySize);
}

void ReadStateMachine::AwaitDnAnswer(const ReadTask& task) {
  Block key;
  if (!TakeKey(task, kItemInputKey, key)) {
    return;
  }
  log.Log("TRANST_ID_DN_GET");
  Answer answer{};
  const ReaderOutcome outcome = reader.WriteInputKey(key, answer, OverTest(task));
  if (!outcome.Done()) {
    RaiseFailure(task, outcome);
    return;
  }
  Queue(task, kItemInputKey, "INPUTKEY", Block(answer.begin(), answer.end()));
}

void ReadStateMachine::AwaitInputKeyAnswer(const ReadTask& task) {
  Block key;
  if (!TakeKey(task, kItemOutputKey, key)) {
    return;
  }
  log.Log("TRANST_ID_INPUTKEY_GET");
  const ReaderOutcome outcome = reader.WriteOutputKey(key, OverTest(task));
  if (!outcome.Done()) {
    RaiseFailure(task, outcome);
    return;
  }
  Queue(task, kItemOutputKey, "OUTPUTKEY");
}

void ReadStateMachine::RelaySector(const ReadTask& task) {
  const SectorStep& step = *std::find_if(
      std::begin(kSectorSteps), std::end(kSectorSteps), [&task](const SectorStep& candidate) {
        return candidate.type == static_cast<std::int32_t>(task.type);
      });
  if (step.posts) {
    PostToLink(task);
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
  Queue(task, kItemDone);
  state.StartWaiting(task.generation);
}

// A service may be done with a read before its last block was sent. Only a success has brought
// fields then.
void ReadStateMachine::CheckResult() {
  const auto link = links.Get();
  const ReadGeneration generation = state.RelayedRead();
  if (link == nullptr || link->TakeEvent(generation, kItemDone).empty()) {
    return;
  }
  ReadResult result = TakeResult(*link, generation, false);
  const bool succeeded = result.succeeded;
  state.Complete(generation, std::move(result), true);
  log.Log("Read Done 2");
  if (succeeded) {
    BeepForSuccess(generation);
  }
}

void ReadStateMachine::CollectFinalAnswer(const ReadTask& task) {
  const auto link = links.Get();
  const std::string done =
      link == nullptr ? std::string() : link->TakeEvent(task.generation, kItemDone);
  if (done.empty()) {
    return;
  }
  log.Log(std::string(ItemLabel(kItemDone)) + done);
  ReadResult result = TakeResult(*link, task.generation, true);
  const bool succeeded = result.succeeded;
  state.Complete(task.generation, std::move(result), false);
  log.Log("Read Done");
  if (succeeded) {
    BeepForSuccess(task.generation);
  }
}

ReadResult ReadStateMachine::TakeResult(DecodeServerLink& link, ReadGeneration generation,
                                        bool fieldsOfFailure) {
  ReadResult result;
  const std::string success = link.TakeEvent(generation, kItemSuccess);
  result.succeeded = !success.empty();
  if (result.succeeded) {
    log.Log(std::string(ItemLabel(kItemSuccess)) + success);
  } else {
    const std::string fail = link.TakeEvent(generation, kItemFail);
    std::string text = fail.empty() ? std::string() : link.TakeFailureText();
    if (!fail.empty()) {
      log.Log(std::string(ItemLabel(kItemFail)) + fail);
    }
    for (; !text.empty(); text = link.TakeFailureText()) {
      result.failureText = std::move(text);
    }
    if (!fieldsOfFailure) {
      return result;
    }
  }
  for (std::int32_t item = kFirstResultItem; item <= kLastResultItem; ++item) {
    std::string text = link.TakeEvent(generation, item);
    if (!text.empty()) {
      log.Log(std::string(ItemLabel(item)) + text);
      result.fields[item] = std::move(text);
    }
  }
  return result;
}

// After the caller was woken: the card is read, whatever becomes of the beep.
void ReadStateMachine::BeepForSuccess(ReadGeneration generation) {
  if (state.BeepOnSuccess()) {
    reader.beep(kSuccessBeepMs, [this, generation] { return !state.IsCurrent(generation); });
  }
}

void ReadStateMachine::PostToLink(const ReadTask& task) {
  const auto link = links.Get();
  if (link != nullptr && link->Started(task.generation)) {
    link->PostCommand(task.generation, static_cast<std::int32_t>(task.type), task.block);
  }
}

// False when there is no key: the task then waits on, unless the read is over.
bool ReadStateMachine::TakeKey(const ReadTask& task, std::int32_t keyItem, Block& key) {
  const auto link = links.Get();
  if (link == nullptr || !link->Started(task.generation)) {
    status.SetError(ERRORT_ServiceLink, task.generation);
    return false;
  }
  key = link->TakeKey(task.generation, keyItem);
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

void ReadStateMachine::Queue(const ReadTask& after, std::int32_t type, std::string text,
                             Block block) {
  state.PostTask(
      {after.generation, static_cast<std::uint32_t>(type), std::move(text), std::move(block)});
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
