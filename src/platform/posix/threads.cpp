#include "platform/threads.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/wiping.h"

namespace idcardreader::platform {

namespace {

// All signals but those that report a fault of the thread itself, which a host's crash reporter is
// to get.
sigset_t SignalsOfOthers() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
    sigdelset(&signals, fault);
  }
  return signals;
}

// None when the system gives none. A new thread inherits the mask: a handler of the host must never
// run on a thread of ours, not even before its first instruction.
template <typename Procedure>
std::thread StartThread(Procedure procedure) {
  const sigset_t blocked = SignalsOfOthers();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  std::thread thread;
  try {
    thread = std::thread(std::move(procedure));
  } catch (...) {
    // No thread, or no memory for one.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

// While a thread has one of these, the system does not take the library away: what is left of it is
// run by the thread's end, outside of the library.
struct KeepsLibrary {
  bool made = true;
  ~KeepsLibrary() { made = false; }
};
thread_local volatile KeepsLibrary keepsLibrary;

}  // namespace

struct CSThread::State {
  std::thread thread;
  std::atomic<bool> running{false};
};

CSThread::CSThread() : state(std::make_unique<State>()) {}

CSThread::~CSThread() { Join(); }

bool CSThread::Start(std::function<void()> procedure) {
  state->running = true;
  state->thread = StartThread([&running = state->running, procedure = std::move(procedure)] {
    try {
      procedure();
    } catch (...) {
      // There is nobody above to take it; the owner sees a thread that has ended.
    }
    WipeStack();  // the system keeps the stacks of ended threads for new ones
    running = false;
  });
  if (!state->thread.joinable()) state->running = false;
  return state->thread.joinable();
}

bool CSThread::Running() const { return state->running; }

void CSThread::Join() {
  if (state->thread.joinable()) state->thread.join();
}

struct LoneThread::State {
  std::thread thread;
  std::future<void> ended;
};

LoneThread::LoneThread() : state(std::make_shared<State>()) {}

LoneThread::~LoneThread() {
  if (state->thread.joinable()) state->thread.detach();
}

bool LoneThread::Start(std::function<void()> procedure) {
  std::promise<void> end;
  state->ended = end.get_future();
  state->thread = StartThread([procedure = std::move(procedure), end = std::move(end)]() mutable {
    if (!keepsLibrary.made) return;  // asked so that it is made
    try {
      std::exchange(procedure, nullptr)();
    } catch (...) {
      // Whoever waits finds no result.
    }
    end.set_value();
  });
  return state->thread.joinable();
}

bool LoneThread::WaitFor(std::chrono::milliseconds limit) {
  if (!state->thread.joinable()) return true;
  if (state->ended.wait_for(limit) != std::future_status::ready) return false;
  state->thread.join();
  return true;
}

struct Event::State {
  std::mutex mutex;
  std::condition_variable condition;
  bool signalled = false;

  void Change(bool wanted) {
    const std::lock_guard hold(mutex);
    signalled = wanted;
    condition.notify_one();
  }
};

// Events have no names in the system here.
Event::Event(const char* /*name*/) : state(std::make_unique<State>()) {}

Event::~Event() = default;

void Event::Set() { state->Change(true); }

void Event::Reset() { state->Change(false); }

void Event::Wait() {
  std::unique_lock hold(state->mutex);
  state->condition.wait(hold, [this] { return state->signalled; });
  state->signalled = false;
}

}  // namespace idcardreader::platform
