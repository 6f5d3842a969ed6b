#include "platform/threads.h"

#include <atomic>
#include <system_error>
#include <utility>

#include "platform/windows/handles.h"
#include "platform/wiping.h"

namespace idcardreader::platform {

struct CSThread::State {
  std::function<void()> procedure;
  UniqueHandle handle;
  std::atomic<bool> running{false};

  static DWORD WINAPI Enter(void* argument) {
    State& state = *static_cast<State*>(argument);
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
  state->procedure = std::move(procedure);
  state->running = true;
  state->handle = UniqueHandle(CreateThread(nullptr, 0, &State::Enter, state.get(), 0, nullptr));
  if (!state->handle) state->running = false;
  return static_cast<bool>(state->handle);
}

bool CSThread::Running() const { return state->running; }

void CSThread::Join() {
  if (!state->handle) return;
  WaitForSingleObject(state->handle.Get(), INFINITE);
  const UniqueHandle ended = std::move(state->handle);
}

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
  const auto milliseconds = static_cast<DWORD>(limit.count());
  if (WaitForSingleObject(state->handle.Get(), milliseconds) != WAIT_OBJECT_0) return false;
  state->Collect();
  return true;
}

struct Event::State {
  UniqueHandle awaited;
  UniqueHandle shown;
};

Event::Event(const char* name) : state(std::make_unique<State>()) {
  state->awaited = UniqueHandle(CreateEventA(nullptr, FALSE, FALSE, nullptr));
  if (!state->awaited) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                            "CreateEventA");
  }
  if (name == nullptr) return;
  SetLastError(ERROR_SUCCESS);
  UniqueHandle named(CreateEventA(nullptr, FALSE, FALSE, name));
  // Not one that is somebody else's.
  if (GetLastError() != ERROR_ALREADY_EXISTS) state->shown = std::move(named);
}

Event::~Event() = default;

void Event::Set() {
  SetEvent(state->awaited.Get());
  if (state->shown) SetEvent(state->shown.Get());
}

void Event::Reset() {
  ResetEvent(state->awaited.Get());
  if (state->shown) ResetEvent(state->shown.Get());
}

void Event::Wait() { WaitForSingleObject(state->awaited.Get(), INFINITE); }

}  // namespace idcardreader::platform
