#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/mutex.h"
#include "support/activity_writer.h"

namespace idcardreader {

// The activity log of one owner ("Reader", "Server"): nothing at all while it is switched off, a
// writer with its file and thread from the first message on. Any thread may log.
class ActivityLog {
 public:
  ActivityLog(std::string name, platform::Clock& clock);

  void Switch(bool switchOn) { on = switchOn; }
  bool On() const { return on; }
  void Log(std::string_view message);
  // Ends the writer; a later message opens a new file.
  void Close();

 private:
  const std::string name;
  platform::Clock& clock;
  std::atomic<bool> on = false;
  platform::CSMutex mutex;  // guards writer
  std::shared_ptr<ActivityWriter> writer;
};

}  // namespace idcardreader
