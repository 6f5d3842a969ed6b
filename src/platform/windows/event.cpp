#include "platform/event.h"

#include <windows.h>

#include <system_error>

#include "platform/windows/time_limit.h"
#include "platform/windows/unique_handle.h"

namespace idcardreader::platform {

namespace {

UniqueHandle CreateAutoResetEvent(const char* name) {
  SetLastError(ERROR_SUCCESS);
  UniqueHandle created(CreateEventA(nullptr, FALSE, FALSE, name));
  if (created && GetLastError() != ERROR_ALREADY_EXISTS) return created;
  // The name is taken by an event of somebody else's, or by an object of another kind.
  return UniqueHandle(CreateEventA(nullptr, FALSE, FALSE, nullptr));
}

}  // namespace

struct Event::State {
  UniqueHandle handle;
};

Event::Event(const char* name) : state(std::make_unique<State>()) {
  state->handle = CreateAutoResetEvent(name);
  if (!state->handle) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                            "CreateEventA");
  }
}

Event::~Event() = default;

void Event::Set() { SetEvent(state->handle.Get()); }

void Event::Reset() { ResetEvent(state->handle.Get()); }

void Event::Wait() { WaitForSingleObject(state->handle.Get(), INFINITE); }

bool Event::WaitFor(std::chrono::milliseconds limit) {
  return WaitForSingleObject(state->handle.Get(), TimeLimit(limit)) == WAIT_OBJECT_0;
}

}  // namespace idcardreader::platform
