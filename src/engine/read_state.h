#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/threads.h"
#include "support/card_read.h"
#include "support/result_items.h"

namespace idcardreader {

// The steps of a read, by number. What is posted to the service and what the reader or the service
// answers to it are steps of their own.
enum class TaskType : std::uint32_t {
  heartbeat = 3,
  dn = 5,
  input_key_answer = 6,    // post what the reader has answered to the input key
  output_key_written = 7,  // read the first file
  sector11 = 8,
  sector12 = 9,
  sector13 = 10,
  sector21 = 11,
  await_input_key = 12,
  await_output_key = 13,
  login = 14,
  await_end = 53,
};

// One step of a read, with the bytes it is about: no buffer is shared between steps, so none can
// hold another card's bytes.
struct ReadTask {
  ReadGeneration generation = kNoRead;
  TaskType type = TaskType::heartbeat;
  Block block;
};

// What the service has made of a read.
struct ReadResult {
  bool succeeded = false;
  std::string failureText;  // when it is not empty, the last error
  IdentityRecord fields;
};

// Where the current read stands, what it has brought, and who waits for it. Any thread may call;
// each operation is one step under the lock in here, and no I/O happens under it.
//
// A read has a generation from Begin on. A stop and an error end it, completion does not. What is
// posted or raised for a generation that is over has no effect: nothing of one card ever reaches
// another card's record, and no late signal completes a newer read.
class ReadState {
 public:
  explicit ReadState(platform::Clock& clock);

  // --- the caller of a read ---
  // Starts a read, and forgets the one before: kNoRead when one is running, or nobody may begin. A
  // caller whose read was stopped but who is still inside is waited for: it leaves after the one
  // reader or network operation it is in.
  ReadGeneration Begin();
  // Pairs with each Begin; ends a read that was begun and never got going.
  void Leave(ReadGeneration leaving);
  // Queues the first tasks together. False when the read is over already.
  bool QueueFirstTasks(ReadTask first, ReadTask second);
  // Waits for the read's end, which a completion, an error, a stop or the shutdown brings. True
  // when it succeeded.
  bool WaitForEnd(ReadGeneration awaited);

  // --- a caller who speaks to the reader without reading ---
  // False while a read runs, until its caller has left, and during a shutdown. Pairs with
  // LeaveIdle.
  bool EnterIdle();
  void LeaveIdle();
  // Forgets the read before. False when a read has begun meanwhile.
  bool ForgetLastRead();
  // The generation for which a failure of such a caller is raised; kNoRead once a read has begun.
  ReadGeneration IdleGeneration();

  // Ends the read that is running, if one is, and returns its generation.
  ReadGeneration Stop();
  // Until its caller has left.
  bool ReadRunning();
  bool IsCurrent(ReadGeneration asked);
  // The read is over or done: a transfer for it is of no use any more.
  bool IsOver(ReadGeneration asked);

  // --- the read thread's side ---
  void PostTask(ReadTask task);
  bool TakeTask(ReadTask& task);
  // The read whose tasks are queued and which is not done; kNoRead when there is none.
  ReadGeneration RelayedRead();
  void StartWaiting(ReadGeneration waiting);
  // The generation whose wait for the final answer has lasted too long; kNoRead when none.
  ReadGeneration ExpiredWait();
  // Ends the read with this result and wakes its caller, unless the generation is over.
  void Complete(ReadGeneration completed, ReadResult result, bool clearTasks);
  // Clears the fields of a read that nobody has collected in time.
  void ClearExpiredFields();
  // Waits while there is nothing to do but to be ready; false when the thread is to end.
  bool AwaitWork();

  // --- errors ---
  // Ends the read with an error, unless the generation is over. Returns the generation that
  // follows, kNoRead when nothing was done.
  ReadGeneration Fail(ReadGeneration failed, std::string_view text);
  // Nothing after a good read.
  std::optional<std::string> LastErrorText();

  // --- results ---
  std::string GetResultText(ResultItem item);
  bool GetResultBytes(ResultItem item, std::vector<std::uint8_t>& bytes);
  // Of the read that runs.
  void SetDnHex(ReadGeneration read, std::string hex);
  std::string DnHex();

  // --- settings ---
  void SetServiceTimeout(std::uint32_t milliseconds);
  // Makes a change that no read may meet half way; false while one is running.
  bool WhileNoReadRuns(const std::function<void()>& change);

  // --- shutdown ---
  // Ends the read, whose generation was `stopped`, and lets nobody begin until EndShutdown, or ever
  // when it is for good. False when another thread has shut down meanwhile.
  enum class Shutdown { none, passing, for_good };
  bool BeginShutdown(Shutdown kind, ReadGeneration& stopped);
  // Waits for all callers to leave; then the read thread is to end.
  void AwaitCallers();
  void EndShutdown();

 private:
  enum class Stage {
    idle,      // no read since the last look at the reader
    starting,  // begun; its caller speaks to reader and service
    relaying,  // the tasks are queued
    succeeded,
    failed,
  };

  bool Running() const { return stage == Stage::starting || stage == Stage::relaying; }
  bool Done() const { return stage == Stage::succeeded || stage == Stage::failed; }
  void ForgetRead();
  void ForgetCard();
  void ForgetExpired();
  ReadGeneration EndGeneration();
  void EndRead(Stage end);
  bool FieldsExpired(std::uint32_t graceMs) const;

  platform::Clock& clock;
  platform::Event completionEvent;  // of the read's end
  platform::Event workEvent;        // for the read thread
  platform::CSMutex stateLock;      // guards all that follows
  platform::Condition callerChange;
  ReadGeneration generation = kNoRead;
  Stage stage = Stage::idle;
  Shutdown shutdown = Shutdown::none;
  bool callerInside = false;
  int idleCallers = 0;
  std::optional<std::uint32_t> waitStartTick;  // of the wait for the service's final answer
  std::uint32_t serviceTimeoutMs = 2000;
  std::deque<ReadTask> taskQueue;
  IdentityRecord resultFields;
  std::uint32_t fieldsTick = 0;  // when they came
  std::string lastErrorText;
  std::string dnHex;
};

}  // namespace idcardreader
