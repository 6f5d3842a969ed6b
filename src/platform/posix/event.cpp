#include "platform/event.h"

#include <pthread.h>
#include <time.h>

#include <system_error>

#include "platform/posix/deadline.h"

namespace idcardreader::platform {

namespace {

// One thread that waits; lives on that thread's stack.
struct Waiter {
  Waiter* next = nullptr;
  bool released = false;
};

class Hold {
 public:
  explicit Hold(pthread_mutex_t& held) : mutex(held) { pthread_mutex_lock(&mutex); }
  ~Hold() { pthread_mutex_unlock(&mutex); }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

 private:
  pthread_mutex_t& mutex;
};

}  // namespace

// The waiters stand in a queue and Set releases the first by name. A mere flag would not do: a
// Reset, or a thread that comes later, could take the signal before the waiter has woken.
struct Event::State {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition;
  bool signalled = false;
  Waiter* first = nullptr;
  Waiter** last = &first;

  bool Wait(const timespec* deadline) {
    const Hold hold(mutex);
    if (signalled) {
      signalled = false;
      return true;
    }
    Waiter self;
    *last = &self;
    last = &self.next;
    int error = 0;
    while (!self.released && error == 0) {
      error = deadline == nullptr ? pthread_cond_wait(&condition, &mutex)
                                  : pthread_cond_timedwait(&condition, &mutex, deadline);
    }
    if (!self.released) Leave(self);
    return self.released;
  }

  void Leave(Waiter& waiter) {
    Waiter** link = &first;
    while (*link != &waiter) link = &(*link)->next;
    *link = waiter.next;
    if (last == &waiter.next) last = link;
  }

  void ReleaseFirst() {
    first->released = true;
    first = first->next;
    if (first == nullptr) last = &first;
  }
};

// Events have no names in the system here.
Event::Event(const char* /*name*/) : state(std::make_unique<State>()) {
  if (const int error = InitMonotonicCondition(state->condition)) {
    throw std::system_error(error, std::generic_category(), "pthread_cond_init");
  }
}

Event::~Event() {
  pthread_cond_destroy(&state->condition);
  pthread_mutex_destroy(&state->mutex);
}

void Event::Set() {
  const Hold hold(state->mutex);
  if (state->first == nullptr) {
    state->signalled = true;
    return;
  }
  state->ReleaseFirst();
  pthread_cond_broadcast(&state->condition);
}

void Event::Reset() {
  const Hold hold(state->mutex);
  state->signalled = false;
}

void Event::Wait() { state->Wait(nullptr); }

bool Event::WaitFor(std::chrono::milliseconds limit) {
  const timespec deadline = DeadlineAfter(limit);
  return state->Wait(&deadline);
}

}  // namespace idcardreader::platform
