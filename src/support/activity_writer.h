#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/files.h"
#include "platform/mutex.h"
#include "platform/thread.h"

namespace idcardreader {

// Writes an owner's activity log on a thread of its own, so that a line never waits for a disk; the
// file is there at once, also when the process ends before the thread has begun.
// The destructor ends the thread and drops what is still queued.
class ActivityWriter {
 public:
  // Opens folder/stamp+name+".txt"; when that fails the messages are dropped.
  ActivityWriter(const std::filesystem::path& folder, const std::string& name,
                 platform::Clock& clock);
  ~ActivityWriter();
  ActivityWriter(const ActivityWriter&) = delete;
  ActivityWriter& operator=(const ActivityWriter&) = delete;

  // Starts the worker. False when there is one already or the system gives none.
  bool Start();
  // Queues one line with the time of the call.
  void Add(std::string_view message);

 private:
  void Run();
  bool TakeFront(std::string& line);

  const platform::File file;
  platform::Clock& clock;
  platform::CSMutex mutex;  // guards queue and stop
  std::deque<std::string> queue;
  bool stop = false;
  platform::Event wakeEvent;
  std::unique_ptr<platform::CSThread> thread;
};

}  // namespace idcardreader
