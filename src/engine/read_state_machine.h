#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "engine/link_holder.h"
#include "engine/read_state.h"
#include "engine/status_sink.h"
#include "reader/card_reader.h"
#include "support/card_read.h"
#include "support/logs.h"

namespace idcardreader {

// The relay of a card between reader and service, as a queue of typed tasks: each pass takes one,
// and a task that waits for the service queues itself again. Passes run on one thread, the read
// thread; a test may run them itself.
class ReadStateMachine {
 public:
  ReadStateMachine(ReadState& state, CardReader& reader, LinkHolder& links, StatusSink& status,
                   ActivityLog& log);

  void Pass();

 private:
  struct TaskRow;
  struct SectorStep;
  static const TaskRow kTaskTable[];
  static const SectorStep kSectorSteps[];

  void Act(const ReadTask& task);
  void PostToLink(const ReadTask& task, ServiceCommand command);
  void PostHeartbeatOrLogin(const ReadTask& task);
  void PostDn(const ReadTask& task);
  void PostInputKey(const ReadTask& task);
  void AwaitDnAnswer(const ReadTask& task);
  void AwaitInputKeyAnswer(const ReadTask& task);
  void RelaySector(const ReadTask& task);
  void AwaitFinalAnswer(const ReadTask& task);

  // Both end the read when the service is done with it.
  void CheckResult();
  void CollectFinalAnswer(const ReadTask& task);
  void CompleteWith(std::map<ResultItem, std::string> items, ReadGeneration generation, bool early);

  bool TakeKey(const ReadTask& task, KeyKind kind, Block& key);
  AbandonTest OverTest(const ReadTask& task);
  void Queue(const ReadTask& after, TaskType type, std::string text = {}, Block block = {});
  void RaiseFailure(const ReadTask& task, const ReaderOutcome& outcome);
  void LogHex(std::string_view label, BlockView bytes, std::size_t count);

  ReadState& state;
  CardReader& reader;
  LinkHolder& links;
  StatusSink& status;
  ActivityLog& log;
};

}  // namespace idcardreader
