#include "platform/standard_output.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "platform/process_wide.h"
#include "platform/threads.h"

namespace idcardreader::platform {

namespace {

// Every call on a pipe or a console may hang, even the one that tells which of them it is, while
// another thread is stuck in it. So a thread of its own writes, and is left alone when it takes too
// long. It keeps the library, and thereby this object, in memory.
class Writer {
 public:
  void Write(std::string_view text) {
    {
      const Hold hold(lock);
      if (waiting.size() + text.size() > kMostWaiting) return;
      for (const char character : text) {
        if (character == '\n') waiting += '\r';
        waiting += character;
      }
      if (std::exchange(working, true)) return;  // the thread at work takes it along
    }
    try {
      Settle();  // the one before has nothing left to do but to end
      thread = std::make_unique<LoneThread>();
      if (thread->Start([this] { WriteAll(); })) {
        Await();
        return;
      }
    } catch (...) {
      // No memory: there is no thread either.
    }
    while (!TakeAll().empty()) {
    }
  }

  void Settle() {
    if (thread != nullptr) thread->WaitFor(kPatience);
    thread.reset();
  }

 private:
  using Milliseconds = std::chrono::milliseconds;
  using Clock = std::chrono::steady_clock;

  class Hold {
   public:
    explicit Hold(SRWLOCK& held) : lock(held) { AcquireSRWLockExclusive(&lock); }
    ~Hold() { ReleaseSRWLockExclusive(&lock); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    SRWLOCK& lock;
  };

  // Yields nothing when there is no more to do; the work then counts as ended.
  std::string TakeAll() {
    const Hold hold(lock);
    std::string taken = std::exchange(waiting, {});
    if (taken.empty()) working = false;
    return taken;
  }

  void WriteAll() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    for (std::string text = TakeAll(); !text.empty(); text = TakeAll()) {
      DWORD written = 0;
      for (std::size_t done = 0; done < text.size(); done += written) {
        const DWORD left = static_cast<DWORD>(text.size() - done);
        if (WriteFile(output, text.data() + done, left, &written, nullptr) == 0 || written == 0) {
          break;
        }
      }
    }
  }

  Milliseconds Patience(Clock::time_point now) {
    const Hold hold(lock);
    if (now - renewed >= kRenewal) {
      renewed = now;
      patience = kPatience;
    }
    return patience;
  }

  void Await() {
    const Clock::time_point begin = Clock::now();
    thread->WaitFor(Patience(begin));
    const auto waited = std::chrono::duration_cast<Milliseconds>(Clock::now() - begin);
    const Hold hold(lock);
    patience = std::max(patience - waited, Milliseconds(0));
  }

  static constexpr Milliseconds kPatience{50};
  static constexpr Milliseconds kRenewal{10'000};
  static constexpr std::size_t kMostWaiting = 4096;

  std::unique_ptr<LoneThread> thread;  // of whoever has set `working`
  SRWLOCK lock = SRWLOCK_INIT;
  // Guarded by lock.
  std::string waiting;
  bool working = false;
  Milliseconds patience = kPatience;  // what is left of it for all texts together
  Clock::time_point renewed = Clock::now();
};

Writer& ProcessWriter() {
  static ProcessWide<Writer> writer;
  return *writer;
}

}  // namespace

void WriteStandardOutput(std::string_view text) {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  if (output == nullptr || output == INVALID_HANDLE_VALUE) return;
  ProcessWriter().Write(text);
}

void SettleStandardOutput() { ProcessWriter().Settle(); }

}  // namespace idcardreader::platform
