#include "api/engine_use.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>

#include "platform/files.h"
#include "platform/mutex.h"
#include "platform/process.h"
#include "platform/process_wide.h"
#include "platform/socket.h"
#include "platform/standard_output.h"
#include "reader/reader_backend.h"

namespace idcardreader {
namespace {

// Guarded by lock. The engine is made and destroyed outside of it, since both do I/O; changing
// keeps everybody else away meanwhile.
struct EngineHolder {
  platform::CSMutex lock;
  platform::Condition changed;
  std::unique_ptr<ReaderEngine> engine;
  int users = 0;
  bool changing = false;
  std::atomic<bool> creationGivenUp = false;
  std::uint64_t stops = 0;  // that came while there was no engine to be told
};

platform::ProcessWide<EngineHolder> holder;

// Keeps the library in memory as long as the engine's threads may run in it.
std::unique_ptr<ReaderEngine> MakeEngine() {
  platform::PinModule();
  try {
    return std::make_unique<ReaderEngine>(
        EngineBackends{SystemReaderBackend(), platform::SystemSockets(), platform::SystemClock(),
                       platform::ExecutableFolder(), platform::LibraryFolder(), TokenDialect(),
                       [] { return holder->creationGivenUp.load(); }});
  } catch (...) {
    platform::UnpinModule();
    throw;
  }
}

// Ends `changing` whichever way the work ends.
class Change {
 public:
  ~Change() {
    const std::lock_guard guard(holder->lock);
    holder->changing = false;
    holder->changed.NotifyAll();
  }
};

}  // namespace

EngineUse::~EngineUse() {
  if (engine == nullptr) {
    return;
  }
  const std::lock_guard guard(holder->lock);
  --holder->users;
  holder->changed.NotifyAll();
}

EngineUse UseEngine() {
  const std::lock_guard guard(holder->lock);
  if (holder->engine == nullptr || holder->changing) {
    return {};
  }
  ++holder->users;
  return EngineUse(holder->engine.get());
}

EngineUse UseOrCreateEngine() {
  {
    const std::lock_guard guard(holder->lock);
    while (holder->changing) {
      holder->changed.Wait(holder->lock);  // ended by the Change of the thread at work
    }
    if (holder->engine != nullptr) {
      ++holder->users;
      return EngineUse(holder->engine.get());
    }
    holder->changing = true;
    holder->creationGivenUp = false;
  }
  const Change change;
  std::unique_ptr<ReaderEngine> made = MakeEngine();
  const std::lock_guard guard(holder->lock);
  holder->engine = std::move(made);
  ++holder->users;
  return EngineUse(holder->engine.get());
}

EngineUse UseOrCreateEngineToRead() {
  std::uint64_t stopsBefore = 0;
  {
    const std::lock_guard guard(holder->lock);
    stopsBefore = holder->stops;
  }
  EngineUse engine = UseOrCreateEngine();
  const std::lock_guard guard(holder->lock);
  return holder->stops == stopsBefore ? std::move(engine) : EngineUse();
}

void StopRead() {
  {
    const std::lock_guard guard(holder->lock);
    if (holder->changing) {
      holder->creationGivenUp = true;
      ++holder->stops;
    }
  }
  if (const EngineUse engine = UseEngine()) {
    engine->StopRead();
  }
}

EngineUse UseOrCreateEngineTwice() {
  try {
    return UseOrCreateEngine();
  } catch (const std::bad_alloc&) {
    return UseOrCreateEngine();  // memory may have been given back meanwhile
  }
}

void DestroyEngine() {
  ReaderEngine* ending = nullptr;
  {
    const std::lock_guard guard(holder->lock);
    holder->creationGivenUp = true;
    while (holder->changing) {
      holder->changed.Wait(holder->lock);  // ended by the Change of the thread at work
    }
    if (holder->engine == nullptr) {
      return;
    }
    holder->changing = true;
    ending = holder->engine.get();
  }
  const Change change;
  ending->ExitForGood();
  std::unique_ptr<ReaderEngine> ended;
  {
    const std::lock_guard guard(holder->lock);
    while (holder->users > 0) {
      holder->changed.Wait(holder->lock);  // ended by the users: their waits are released
    }
    ended = std::move(holder->engine);
  }
  ended.reset();
  platform::SettleStandardOutput();
  platform::UnpinModule();
}

bool ReleaseEngineUse() {
  if (holder->engine != nullptr || holder->changing) {
    return false;
  }
  holder.Destroy();
  return true;
}

}  // namespace idcardreader
