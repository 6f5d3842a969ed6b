#include "platform/thread.h"

#include <windows.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/mutex.h"
#include "platform/windows/unique_handle.h"

namespace idcardreader::platform {

struct CSThread::State {
  std::function<void()> procedure;
  CSMutex lifecycle;  // held while starting and joining: nobody joins half a thread
  bool started = false;
  UniqueHandle handle;
  std::atomic<DWORD> self{0};  // stored by the thread itself, before Start knows it
  std::atomic<bool> running{false};

  static DWORD WINAPI Enter(void* argument) {
    State& state = *static_cast<State*>(argument);
    state.self = GetCurrentThreadId();
    try {
      state.procedure();
    } catch (...) {
      // There is nobody above to take it; the owner sees a thread that has ended.
    }
    WipeStack();
    state.running = false;
    return 0;
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
  state->handle = UniqueHandle(CreateThread(nullptr, 0, &State::Enter, state.get(), 0, nullptr));
  if (!state->handle) state->running = false;
  return static_cast<bool>(state->handle);
}

bool CSThread::Running() const { return state->running; }

void CSThread::Join() {
  if (IsCurrent()) return;
  const std::lock_guard hold(state->lifecycle);
  if (!state->handle) return;
  WaitForSingleObject(state->handle.Get(), INFINITE);
  UniqueHandle ended = std::move(state->handle);
}

bool CSThread::IsCurrent() const { return state->running && state->self == GetCurrentThreadId(); }

}  // namespace idcardreader::platform
