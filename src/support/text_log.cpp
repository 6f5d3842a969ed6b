#include "support/text_log.h"

#include <mutex>
#include <utility>

#include "support/log_file.h"
#include "support/process_wide.h"

namespace idcardreader {
namespace {

// Set up when the library is loaded, because the logs below may be made by any thread.
class CBMutex {
 public:
  virtual ~CBMutex() = default;
  void lock() { mutex.lock(); }
  void unlock() { mutex.unlock(); }

 private:
  platform::CSMutex mutex;
};

ProcessWide<CBMutex> processLogsMutex;
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

}  // namespace

TextLog::TextLog(std::filesystem::path folder, Stamp stamp, platform::Clock& clock)
    : folder(std::move(folder)), stamp(stamp), clock(clock) {}

void TextLog::Log(std::string_view message) {
  const std::lock_guard guard(mutex);
  lastMessage = message;
  const platform::LocalTime now = clock.Now();
  if (file == nullptr) {
    file = OpenLogFile(folder,
                       stamp == Stamp::with_milliseconds ? LogFileStamp(now)
                                                         : LogFileStampWithoutMilliseconds(now),
                       "Error");
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

}  // namespace idcardreader
