#include "virtual_reader/thread_life.h"

#include <pthread.h>

#include <system_error>

namespace devkit {

// With the system's own means: on Windows the language's thread_local objects may lie in memory that
// was given back when their destructors run.
std::shared_ptr<ThreadLife> ThreadLife::OfThisThread() {
  static const pthread_key_t key = [] {
    pthread_key_t made{};
    const int error = pthread_key_create(&made, &NoteEnd);
    if (error != 0) throw std::system_error(error, std::generic_category());
    return made;
  }();
  if (const void* kept = pthread_getspecific(key)) {
    return *static_cast<const std::shared_ptr<ThreadLife>*>(kept);
  }
  auto life = std::make_shared<ThreadLife>();
  auto kept = std::make_unique<std::shared_ptr<ThreadLife>>(life);
  if (pthread_setspecific(key, kept.get()) == 0) static_cast<void>(kept.release());
  return life;
}

// No lock is taken here: it runs while a process ends, too, whose other threads are gone with theirs.
void ThreadLife::NoteEnd(void* kept) {
  const std::unique_ptr<std::shared_ptr<ThreadLife>> life(
      static_cast<std::shared_ptr<ThreadLife>*>(kept));
  (*life)->end = std::chrono::steady_clock::now();
  (*life)->ended = true;
}

}  // namespace devkit
