#include "support/logs.h"

#include <cstdio>
#include <deque>
#include <mutex>
#include <utility>

#include "platform/process_wide.h"
#include "platform/standard_output.h"
#include "platform/threads.h"

namespace idcardreader {
namespace {

constexpr std::size_t kStampSize = 96;  // room for seven numbers of any size

// "20240102-030405006-", with which the name of a log begins.
std::string FileStamp(const platform::LocalTime& time) {
  char text[kStampSize];
  std::snprintf(text, sizeof text, "%04d%02d%02d-%02d%02d%02d%03d-", time.year, time.month,
                time.day, time.hour, time.minute, time.second, time.millisecond);
  return text;
}
constexpr std::size_t kWithoutMilliseconds = 15;

platform::File OpenLogFile(const std::filesystem::path& folder, const std::string& name) {
  platform::CreateFolder(folder);
  return platform::OpenFile(folder / (name + ".txt"), "at");
}

std::string LogLine(const platform::LocalTime& time, std::string_view message) {
  char text[kStampSize];
  std::snprintf(text, sizeof text, "%04d:%02d:%02d|%02d:%02d:%02d|%03d|", time.year, time.month,
                time.day, time.hour, time.minute, time.second, time.millisecond);
  return std::string(text).append(message).append("\n");
}

// Set up when the library is loaded, because the logs below may be made by any thread.
class CBMutex {
 public:
  virtual ~CBMutex() = default;
  void lock() { mutex.lock(); }
  void unlock() { mutex.unlock(); }

 private:
  platform::CSMutex mutex;
};

platform::ProcessWide<CBMutex> processLogsMutex;
TextLog* errorLog = nullptr;
TextLog* dataFileLog = nullptr;

TextLog& MakeOnce(TextLog*& log, const char* folder, TextLog::Stamp stamp) {
  const std::lock_guard guard(*processLogsMutex);
  if (log == nullptr) {
    log = std::make_unique<TextLog>(platform::LibraryFolder() / folder, stamp,
                                    platform::SystemClock())
              .release();
  }
  return *log;
}

constexpr char kWriterEventName[] = "writELog";
constexpr std::uint32_t kWriterPauseMs = 50;

std::atomic<bool> printing = true;

}  // namespace

TextLog::TextLog(std::filesystem::path folder, Stamp stamp, platform::Clock& clock)
    : folder(std::move(folder)), stamp(stamp), clock(clock) {}

void TextLog::Log(std::string_view message) {
  const std::lock_guard guard(mutex);
  lastMessage = message;
  const platform::LocalTime now = clock.Now();
  if (file == nullptr) {
    const std::size_t length =
        stamp == Stamp::with_milliseconds ? std::string::npos : kWithoutMilliseconds;
    file = OpenLogFile(folder, FileStamp(now).substr(0, length) + "Error");
  }
  platform::WriteToFile(file, LogLine(now, message));
}

std::string TextLog::LastMessage() {
  const std::lock_guard guard(mutex);
  return lastMessage;
}

void TextLog::ClearLastMessage() {
  const std::lock_guard guard(mutex);
  lastMessage.clear();
}

TextLog& ErrorLog() { return MakeOnce(errorLog, "errordata", TextLog::Stamp::with_milliseconds); }

TextLog& DataFileLog() {
  return MakeOnce(dataFileLog, "LogData", TextLog::Stamp::without_milliseconds);
}

void ReleaseProcessLogs() {
  const std::unique_ptr<TextLog> first(std::exchange(errorLog, nullptr));
  const std::unique_ptr<TextLog> second(std::exchange(dataFileLog, nullptr));
  processLogsMutex.Destroy();
}

// The file is there at once, also when the process ends before the thread has begun.
class ActivityLog::Writer {
 public:
  Writer(const std::string& name, platform::Clock& clock)
      : file(OpenLogFile(platform::LibraryFolder() / "logdata", FileStamp(clock.Now()) + name)),
        clock(clock),
        wakeEvent(kWriterEventName),
        started(thread.Start([this] { Run(); })) {}

  ~Writer() {
    {
      const std::lock_guard guard(mutex);
      stop = true;
    }
    wakeEvent.Set();
    thread.Join();
  }

  // Queues one line with the time of the call.
  void Add(std::string_view message) {
    if (!started) {
      return;  // Nobody would ever take it off the queue.
    }
    std::string line = LogLine(clock.Now(), message);
    bool alone = false;
    {
      const std::lock_guard guard(mutex);
      alone = queue.empty();
      queue.push_back(std::move(line));
    }
    // Whoever queued the first line wakes the thread, which then takes all there are. Waking it for
    // each line would be most of what a line costs the read.
    if (alone) {
      wakeEvent.Set();
    }
  }

 private:
  void Run() {
    std::string line;
    while (!Stopped()) {
      wakeEvent.Wait();  // ended by Add and by the destructor
      while (TakeFront(line)) {
        platform::WriteToFile(file, line);
      }
      if (!Stopped()) {
        clock.Sleep(kWriterPauseMs);
      }
    }
  }

  bool Stopped() {
    const std::lock_guard guard(mutex);
    return stop;
  }

  bool TakeFront(std::string& line) {
    const std::lock_guard guard(mutex);
    if (stop || queue.empty()) {
      return false;
    }
    line = std::move(queue.front());
    queue.pop_front();
    return true;
  }

  const platform::File file;
  platform::Clock& clock;
  platform::CSMutex mutex;  // guards queue and stop
  std::deque<std::string> queue;
  bool stop = false;
  platform::Event wakeEvent;
  platform::CSThread thread;  // uses all of the above
  const bool started;
};

ActivityLog::ActivityLog(std::string name, platform::Clock& clock)
    : name(std::move(name)), clock(clock) {}

void ActivityLog::Log(std::string_view message) {
  if (!on) {
    return;
  }
  std::shared_ptr<Writer> current;
  {
    const std::lock_guard guard(mutex);
    if (writer == nullptr) {
      writer = std::make_shared<Writer>(name, clock);
    }
    current = writer;
  }
  current->Add(message);
}

void ActivityLog::Close() {
  std::shared_ptr<Writer> closing;
  {
    const std::lock_guard guard(mutex);
    closing.swap(writer);
  }
}

void PrintLine(std::string_view text) {
  if (!printing) {
    return;
  }
  try {
    platform::WriteStandardOutput(std::string(text).append("\n"));
  } catch (...) {
    // No memory for the line.
  }
}

void SwitchPrinting(bool on) { printing = on; }

}  // namespace idcardreader
