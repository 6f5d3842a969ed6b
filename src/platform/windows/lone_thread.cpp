#include "platform/lone_thread.h"

#include <windows.h>

#include <atomic>
#include <utility>

#include "platform/windows/own_module.h"
#include "platform/windows/time_limit.h"
#include "platform/windows/unique_handle.h"

namespace idcardreader::platform {

struct LoneThread::State {
  enum class Stage { running, ended, left_behind };

  std::function<void()> procedure;
  std::atomic<Stage> stage{Stage::running};
  HMODULE library = nullptr;
  UniqueHandle handle;

  static void Perform(void* argument, HMODULE& givenBack) {
    const std::unique_ptr<std::shared_ptr<State>> state(
        static_cast<std::shared_ptr<State>*>(argument));
    try {
      (*state)->procedure();
    } catch (...) {
      // Whoever waits finds no result.
    }
    (*state)->procedure = nullptr;
    const HMODULE library = (*state)->library;
    if ((*state)->stage.exchange(Stage::ended) == Stage::left_behind) givenBack = library;
  }

  static DWORD WINAPI Enter(void* argument) {
    HMODULE givenBack = nullptr;
    Perform(argument, givenBack);
    if (givenBack != nullptr) FreeLibraryAndExitThread(givenBack, 0);
    return 0;
  }

  // The thread has ended but for its last instructions.
  void Collect() {
    WaitForSingleObject(handle.Get(), INFINITE);
    const UniqueHandle collected = std::move(handle);
    FreeLibrary(library);  // the caller, inside of the library, has a reference of its own
  }
};

LoneThread::LoneThread() : state(std::make_shared<State>()) {}

LoneThread::~LoneThread() {
  if (state->handle && state->stage.exchange(State::Stage::left_behind) == State::Stage::ended) {
    state->Collect();
  }
}

bool LoneThread::Start(std::function<void()> procedure) {
  state->procedure = std::move(procedure);
  state->library = OwnModule(true);
  auto share = std::make_unique<std::shared_ptr<State>>(state);
  state->handle = UniqueHandle(CreateThread(nullptr, 0, &State::Enter, share.get(), 0, nullptr));
  if (state->handle) {
    static_cast<void>(share.release());  // the thread's now
  } else {
    FreeLibrary(state->library);
  }
  return static_cast<bool>(state->handle);
}

bool LoneThread::WaitFor(std::chrono::milliseconds limit) {
  if (!state->handle) return true;
  if (WaitForSingleObject(state->handle.Get(), TimeLimit(limit)) != WAIT_OBJECT_0) return false;
  state->Collect();
  return true;
}

}  // namespace idcardreader::platform
