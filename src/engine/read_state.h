#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/event.h"
#include "platform/mutex.h"
#include "support/card_block.h"
#include "support/read_generation.h"

namespace idcardreader {

// One step of a read, with the bytes it is about: no buffer is shared between steps, so none can
// hold another card's bytes.
struct ReadTask {
  ReadGeneration generation = kNoRead;
  std::uint32_t type = 0;
  std::string text;
  Block block;
};

// Where the current read stands, what it has brought, and who waits for it. Every operation takes
// stateLock for itself; whoever needs several in one step holds it around them. No I/O happens
// under it.
//
// A read has a generation from Begin on. A stop and an error end it, completion does not. What is
// posted or raised for a generation that is over has no effect: nothing of one card ever reaches
// another card's record, and no late signal completes a newer read.
class ReadState {
 public:
  ReadState();

  platform::CSMutex stateLock;

  // --- the caller's side ---
  // Starts a read: kNoRead when one is running. A caller whose read was stopped but who is still
  // inside is waited for: it leaves after the one reader or network operation it is in.
  ReadGeneration Begin();
  // Pairs with each Begin; ends a read that was begun and never got going.
  void Leave(ReadGeneration generation);
  // Empties what the read before has left. False when this read is over already.
  bool Prepare(ReadGeneration generation);
  // The same without a read; kNoRead while one is running or the engine is shutting down.
  ReadGeneration PrepareIdle();
  // Queues the first tasks together. False when the read is over already.
  bool QueueFirstTasks(ReadTask first, ReadTask second);
  // Waits for the read's end, which a completion, an error, a stop or the shutdown brings. True
  // when it succeeded.
  bool WaitForEnd(ReadGeneration generation);
  // Ends the read that is running, if one is, and returns its generation.
  ReadGeneration Stop();
  bool ReadRunning();
  ReadGeneration CurrentGeneration();
  bool IsCurrent(ReadGeneration generation);
  // The read is over or done: a transfer for it is of no use any more.
  bool IsOver(ReadGeneration generation);

  // --- the read thread's side ---
  void PostTask(ReadTask task);
  bool TakeTask(ReadTask& task);
  bool TasksQueued();
  void ClearTasks();
  void StartWaiting(ReadGeneration generation, std::uint32_t tick);
  // The generation whose wait for the final answer has lasted too long; kNoRead when none.
  ReadGeneration ExpiredWait(std::uint32_t tick);
  // Marks the read done and wakes the caller; called with the results stored.
  void Complete(bool succeeded);

  // --- errors ---
  // Ends the read with an error, unless the generation is over. Returns the generation that
  // follows, kNoRead when nothing was done.
  ReadGeneration Fail(ReadGeneration generation, std::int32_t code, std::string_view text);
  void SetLastErrorText(std::string text);
  // The codes raised so far, the newest last; the last 1,000 of them.
  std::vector<std::int32_t> ErrorHistory();
  std::string LastErrorText();
  bool ReadOk();

  // --- results ---
  void StoreResult(std::int32_t item, std::string text);
  std::string GetResultText(std::int32_t item);
  bool GetResultBytes(std::int32_t item, std::vector<std::uint8_t>& bytes);
  void SetDnHex(std::string hex);
  std::string DnHex();

  // --- settings ---
  void SetServiceTimeout(std::uint32_t milliseconds);
  void SetBeepOnSuccess(bool on);
  bool BeepOnSuccess();

  // --- shutdown ---
  // Ends the read, waits for its caller to leave, and lets nobody begin until EndShutdown. False
  // when another thread has shut down meanwhile.
  bool BeginShutdown();
  void EndShutdown();

 private:
  void ResetRead();
  ReadGeneration EndCurrent();

  platform::Condition callerChange;  // of callerInside and shuttingDown
  std::shared_ptr<platform::Event> completionEvent;
  ReadGeneration generation = kNoRead;
  bool m_bReadCardStart_Begin = false;
  bool callerInside = false;
  bool shuttingDown = false;
  bool tasksQueued = false;
  bool readOk = false;
  bool readDone = false;
  bool waitingForService = false;
  std::uint32_t waitStartTick = 0;
  std::uint32_t serviceTimeoutMs = 2000;
  bool beepOnSuccess = false;
  std::deque<ReadTask> taskQueue;
  std::map<std::int32_t, std::string> resultFields;
  std::deque<std::int32_t> errorHistory;
  std::string lastErrorText;
  std::string dnHex;
};

}  // namespace idcardreader
