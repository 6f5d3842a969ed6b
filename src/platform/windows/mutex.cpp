#include "platform/mutex.h"

#include <windows.h>

namespace idcardreader::platform {

struct CSMutex::State {
  CRITICAL_SECTION section;
};

CSMutex::CSMutex() : state(std::make_unique<State>()) {
  InitializeCriticalSection(&state->section);
}

CSMutex::~CSMutex() { DeleteCriticalSection(&state->section); }

void CSMutex::lock() { EnterCriticalSection(&state->section); }

void CSMutex::unlock() { LeaveCriticalSection(&state->section); }

struct Condition::State {
  CONDITION_VARIABLE variable = CONDITION_VARIABLE_INIT;
};

Condition::Condition() : state(std::make_unique<State>()) {}

Condition::~Condition() = default;

void Condition::Wait(CSMutex& mutex) {
  SleepConditionVariableCS(&state->variable, &mutex.state->section, INFINITE);
}

void Condition::WaitFor(CSMutex& mutex, std::chrono::milliseconds limit) {
  SleepConditionVariableCS(&state->variable, &mutex.state->section,
                           static_cast<DWORD>(limit.count()));
}

void Condition::NotifyAll() { WakeAllConditionVariable(&state->variable); }

}  // namespace idcardreader::platform
