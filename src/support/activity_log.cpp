#include "support/activity_log.h"

#include <mutex>
#include <utility>

#include "platform/files.h"

namespace idcardreader {

ActivityLog::ActivityLog(std::string name, platform::Clock& clock)
    : name(std::move(name)), clock(clock) {}

void ActivityLog::Log(std::string_view message) {
  if (!on) {
    return;
  }
  std::shared_ptr<ActivityWriter> current;
  {
    const std::lock_guard guard(mutex);
    if (writer == nullptr) {
      writer = std::make_shared<ActivityWriter>(platform::LibraryFolder() / "logdata", name, clock);
      writer->Start();
    }
    current = writer;
  }
  current->Add(message);
}

void ActivityLog::Close() {
  std::shared_ptr<ActivityWriter> closing;
  {
    const std::lock_guard guard(mutex);
    closing.swap(writer);
  }
}

}  // namespace idcardreader
