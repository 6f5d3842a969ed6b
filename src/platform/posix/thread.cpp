#include "platform/thread.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/mutex.h"

namespace idcardreader::platform {

struct CSThread::State {
  std::function<void()> procedure;
  CSMutex lifecycle;  // held while starting and joining: nobody joins twice or half a thread
  bool started = false;
  bool joinable = false;
  pthread_t thread{};
  std::atomic<pthread_t> self{};  // stored by the thread itself, before Start knows it
  std::atomic<bool> running{false};

  static void* Enter(void* argument) {
    State& state = *static_cast<State*>(argument);
    state.self = pthread_self();
    try {
      state.procedure();
    } catch (...) {
      // There is nobody above to take it; the owner sees a thread that has ended.
    }
    state.running = false;
    return nullptr;
  }
};

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

}  // namespace

CSThread::CSThread() : state(std::make_unique<State>()) {}

CSThread::~CSThread() { Join(); }

bool CSThread::Start(std::function<void()> procedure) {
  const std::lock_guard hold(state->lifecycle);
  if (state->started) return false;
  state->started = true;
  state->procedure = std::move(procedure);
  state->running = true;
  // A new thread inherits the mask: a handler of the host must never run on a thread of ours, not
  // even before its first instruction.
  const sigset_t blocked = SignalsOfOthers();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  state->joinable = pthread_create(&state->thread, nullptr, &State::Enter, state.get()) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (!state->joinable) state->running = false;
  return state->joinable;
}

bool CSThread::Running() const { return state->running; }

void CSThread::Join() {
  if (IsCurrent()) return;
  const std::lock_guard hold(state->lifecycle);
  if (!state->joinable) return;
  pthread_join(state->thread, nullptr);
  state->joinable = false;
}

bool CSThread::IsCurrent() const {
  return state->running && pthread_equal(state->self, pthread_self()) != 0;
}

}  // namespace idcardreader::platform
