#include "platform/mutex.h"

#include <condition_variable>
#include <mutex>

namespace idcardreader::platform {

struct CSMutex::State {
  std::recursive_mutex mutex;
};

CSMutex::CSMutex() : state(std::make_unique<State>()) {}

CSMutex::~CSMutex() = default;

void CSMutex::lock() { state->mutex.lock(); }

void CSMutex::unlock() { state->mutex.unlock(); }

struct Condition::State {
  std::condition_variable_any condition;
};

Condition::Condition() : state(std::make_unique<State>()) {}

Condition::~Condition() = default;

void Condition::Wait(CSMutex& mutex) { state->condition.wait(mutex); }

void Condition::WaitFor(CSMutex& mutex, std::chrono::milliseconds limit) {
  state->condition.wait_for(mutex, limit);
}

void Condition::NotifyAll() { state->condition.notify_all(); }

}  // namespace idcardreader::platform
