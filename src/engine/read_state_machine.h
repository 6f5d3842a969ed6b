#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

#include "engine/link_holder.h"
#include "engine/read_state.h"
#include "reader/card_reader.h"
#include "support/card_read.h"
#include "support/logs.h"

namespace idcardreader {

// The relay of a card between reader and service, as a queue of typed tasks: each pass takes one,
// and a task that waits for the service queues itself again. Passes run on one thread, the read
// thread; a test may run them itself.
class ReadStateMachine {
 public:
  using RaiseCode = std::function<void(std::int32_t code, ReadGeneration generation)>;

  ReadStateMachine(ReadState& state, CardReader& reader, LinkHolder& links, ActivityLog& log,
                   RaiseCode raiseCode);

  void Pass();
  void SetBeepOnSuccess(bool on) { beepOnSuccess = on; }

 private:
  void Act(const ReadTask& task);
  void PostToLink(const ReadTask& task, ServiceCommand command);
  void RelayFile(const ReadTask& task);
  // Ends the read when the service is done with it: early, before it was sent everything.
  void CheckResult(ReadGeneration generation, bool early);
  bool TakeKey(const ReadTask& task, KeyKind kind, Block& key);
  bool Succeeded(const ReadTask& task, const ReaderOutcome& outcome);
  AbandonTest OverTest(const ReadTask& task);
  void Queue(const ReadTask& after, TaskType type, Block block = {});
  void LogHex(std::string_view label, BlockView bytes, std::size_t count);

  ReadState& state;
  CardReader& reader;
  LinkHolder& links;
  ActivityLog& log;
  const RaiseCode raiseCode;
  std::atomic<bool> beepOnSuccess = false;
};

}  // namespace idcardreader
