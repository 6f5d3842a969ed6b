#include "platform/thread.h"

#include <pthread.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/mutex.h"
#include "platform/posix/create_thread.h"

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
    WipeStack();  // the system keeps the stacks of ended threads for new ones
    state.running = false;
    return nullptr;
  }
};

CSThread::CSThread() : state(std::make_unique<State>()) {}

CSThread::~CSThread() { Join(); }

bool CSThread::Start(std::function<void()> procedure) {
  const std::lock_guard hold(state->lifecycle);
  if (state->started) return false;
  state->started = true;
  state->procedure = std::move(procedure);
  state->running = true;
  state->joinable = CreateThread(state->thread, &State::Enter, state.get());
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
