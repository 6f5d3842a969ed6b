#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/mutex.h"
#include "platform/thread.h"

namespace idcardreader {

// Writes an owner's activity log on a thread of its own, so that logging never waits for a disk.
// The destructor ends the thread and drops what is still queued.
class ActivityWriter {
 public:
  ActivityWriter(std::filesystem::path folder, std::string name, platform::Clock& clock);
  ~ActivityWriter();
  ActivityWriter(const ActivityWriter&) = delete;
  ActivityWriter& operator=(const ActivityWriter&) = delete;

  // Starts the worker, which opens folder/stamp+name+".txt"; when that fails the messages are
  // dropped. False when there is a worker already or the system gives none.
  bool Start();
  // Queues one line with the time of the call.
  void Add(std::string_view message);

 private:
  void Run();
  bool TakeFront(std::string& line);

  const std::filesystem::path folder;
  const std::string name;
  platform::Clock& clock;
  platform::CSMutex mutex;  // guards queue and stop
  std::deque<std::string> queue;
  bool stop = false;
  platform::Event wakeEvent;
  std::unique_ptr<platform::CSThread> thread;
};

}  // namespace idcardreader
