#include "platform/mutex.h"

#include <windows.h>

#include "platform/windows/time_limit.h"

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

bool Condition::WaitFor(CSMutex& mutex, std::chrono::milliseconds limit) {
  return SleepConditionVariableCS(&state->variable, &mutex.state->section, TimeLimit(limit)) != 0;
}

void Condition::NotifyAll() { WakeAllConditionVariable(&state->variable); }

}  // namespace idcardreader::platform
