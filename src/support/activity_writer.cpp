#include "support/activity_writer.h"

#include <mutex>
#include <utility>

#include "support/log_file.h"

namespace idcardreader {
namespace {

constexpr char kWriterName[] = "writELog";
constexpr std::uint32_t kPauseMs = 50;

}  // namespace

ActivityWriter::ActivityWriter(const std::filesystem::path& folder, const std::string& name,
                               platform::Clock& clock)
    : file(OpenLogFile(folder, LogFileStamp(clock.Now()), name)),
      clock(clock),
      wakeEvent(kWriterName) {}

ActivityWriter::~ActivityWriter() {
  {
    const std::lock_guard guard(mutex);
    stop = true;
  }
  wakeEvent.Set();
  if (thread != nullptr) {
    thread->Join();
  }
}

bool ActivityWriter::Start() {
  if (thread != nullptr) {
    return false;
  }
  thread = std::make_unique<platform::CSThread>();
  if (!thread->Start([this] { Run(); })) {
    thread.reset();
    return false;
  }
  return true;
}

void ActivityWriter::Add(std::string_view message) {
  std::string line = LogLine(clock.Now(), message);
  bool alone = false;
  {
    const std::lock_guard guard(mutex);
    if (thread == nullptr) {
      return;  // Nobody would ever take it off the queue.
    }
    alone = queue.empty();
    queue.push_back(std::move(line));
  }
  // Whoever queued the first line wakes the thread, which then takes all there are. Waking it for
  // each line would be most of what a line costs the read.
  if (alone) {
    wakeEvent.Set();
  }
}

bool ActivityWriter::TakeFront(std::string& line) {
  const std::lock_guard guard(mutex);
  if (stop || queue.empty()) {
    return false;
  }
  line = std::move(queue.front());
  queue.pop_front();
  return true;
}

void ActivityWriter::Run() {
  for (;;) {
    wakeEvent.Wait();  // ended by Add and by the destructor
    std::string line;
    while (TakeFront(line)) {
      platform::WriteToFile(file, line);
    }
    {
      const std::lock_guard guard(mutex);
      if (stop) {
        return;
      }
    }
    clock.Sleep(kPauseMs);
  }
}

}  // namespace idcardreader
