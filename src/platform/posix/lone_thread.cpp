#include "platform/lone_thread.h"

#include <pthread.h>

#include <utility>

#include "platform/event.h"
#include "platform/posix/create_thread.h"

namespace idcardreader::platform {

namespace {

// While a thread has one of these, the system does not take the library away: what is left of it is
// run by the thread's end, outside of the library.
struct KeepsLibrary {
  bool made = true;
  ~KeepsLibrary() { made = false; }
};
thread_local volatile KeepsLibrary keepsLibrary;

}  // namespace

struct LoneThread::State {
  std::function<void()> procedure;
  Event ended;
  pthread_t thread{};
  bool joinable = false;

  static void* Enter(void* argument) {
    if (!keepsLibrary.made) return nullptr;  // asked so that it is made
    const std::unique_ptr<std::shared_ptr<State>> state(
        static_cast<std::shared_ptr<State>*>(argument));
    try {
      (*state)->procedure();
    } catch (...) {
      // Whoever waits finds no result.
    }
    (*state)->procedure = nullptr;
    (*state)->ended.Set();
    return nullptr;
  }
};

LoneThread::LoneThread() : state(std::make_shared<State>()) {}

LoneThread::~LoneThread() {
  if (state->joinable) pthread_detach(state->thread);
}

bool LoneThread::Start(std::function<void()> procedure) {
  state->procedure = std::move(procedure);
  auto share = std::make_unique<std::shared_ptr<State>>(state);
  state->joinable = CreateThread(state->thread, &State::Enter, share.get());
  if (state->joinable) static_cast<void>(share.release());  // the thread's now
  return state->joinable;
}

bool LoneThread::WaitFor(std::chrono::milliseconds limit) {
  if (!state->joinable) return true;
  if (!state->ended.WaitFor(limit)) return false;
  pthread_join(state->thread, nullptr);
  state->joinable = false;
  return true;
}

}  // namespace idcardreader::platform
