#include "platform/event.h"

#include <windows.h>

#include <system_error>

#include "platform/windows/time_limit.h"
#include "platform/windows/unique_handle.h"

namespace idcardreader::platform {

namespace {

UniqueHandle CreateAutoResetEvent(const char* name) {
  return UniqueHandle(CreateEventA(nullptr, FALSE, FALSE, name));
}

// None when the name is taken, by an event of somebody else's or by an object of another kind.
UniqueHandle CreateShownEvent(const char* name) {
  if (name == nullptr) return {};
  SetLastError(ERROR_SUCCESS);
  UniqueHandle created = CreateAutoResetEvent(name);
  if (GetLastError() == ERROR_ALREADY_EXISTS) return {};
  return created;
}

}  // namespace

struct Event::State {
  UniqueHandle awaited;
  UniqueHandle shown;
};

Event::Event(const char* name) : state(std::make_unique<State>()) {
  state->awaited = CreateAutoResetEvent(nullptr);
  if (!state->awaited) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                            "CreateEventA");
  }
  state->shown = CreateShownEvent(name);
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

bool Event::WaitFor(std::chrono::milliseconds limit) {
  return WaitForSingleObject(state->awaited.Get(), TimeLimit(limit)) == WAIT_OBJECT_0;
}

}  // namespace idcardreader::platform
