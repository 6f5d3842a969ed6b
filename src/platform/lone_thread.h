#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace idcardreader::platform {

// A thread for a call that may never return. Whoever waits for it may give up: it is then left
// behind and keeps the library in memory until it has ended.
class LoneThread {
 public:
  LoneThread();
  ~LoneThread();
  LoneThread(const LoneThread&) = delete;
  LoneThread& operator=(const LoneThread&) = delete;

  // False when the system gives no thread. Whatever the procedure uses must be its own: it may run
  // on when this object and its owner are gone.
  bool Start(std::function<void()> procedure);
  // True when it has ended within the limit; no instruction of it runs any more then.
  bool WaitFor(std::chrono::milliseconds limit);

 private:
  struct State;
  std::shared_ptr<State> state;
};

}  // namespace idcardreader::platform
