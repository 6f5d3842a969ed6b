#include "platform/mutex.h"

#include <pthread.h>
#include <time.h>

#include <system_error>

#include "platform/posix/deadline.h"

namespace idcardreader::platform {

namespace {

void Require(int error, const char* what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

struct CSMutex::State {
  pthread_mutex_t mutex;
};

CSMutex::CSMutex() : state(std::make_unique<State>()) {
  pthread_mutexattr_t attributes;
  Require(pthread_mutexattr_init(&attributes), "pthread_mutexattr_init");
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  const int error = pthread_mutex_init(&state->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  Require(error, "pthread_mutex_init");
}

CSMutex::~CSMutex() { pthread_mutex_destroy(&state->mutex); }

void CSMutex::lock() { pthread_mutex_lock(&state->mutex); }

void CSMutex::unlock() { pthread_mutex_unlock(&state->mutex); }

struct Condition::State {
  pthread_cond_t condition;
};

Condition::Condition() : state(std::make_unique<State>()) {
  Require(InitMonotonicCondition(state->condition), "pthread_cond_init");
}

Condition::~Condition() { pthread_cond_destroy(&state->condition); }

void Condition::Wait(CSMutex& mutex) { pthread_cond_wait(&state->condition, &mutex.state->mutex); }

bool Condition::WaitFor(CSMutex& mutex, std::chrono::milliseconds limit) {
  const timespec deadline = DeadlineAfter(limit);
  return pthread_cond_timedwait(&state->condition, &mutex.state->mutex, &deadline) == 0;
}

void Condition::NotifyAll() { pthread_cond_broadcast(&state->condition); }

}  // namespace idcardreader::platform
