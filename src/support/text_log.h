#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/mutex.h"

namespace idcardreader {

// A log that is written as it is called: the error log and the log of the data-file loaders. The
// file is opened by the first message; a failed attempt is made again by the next one. Logging
// never fails its caller. Any thread may log; the lock here also serialises the file.
class TextLog {
 public:
  enum class Stamp { with_milliseconds, without_milliseconds };

  TextLog(std::filesystem::path folder, Stamp stamp, platform::Clock& clock);

  // One line; the text is written as it stands, it is no format.
  void Log(std::string_view message);
  // The message logged last, without its time.
  std::string LastMessage();
  void ClearLastMessage();

 private:
  const std::filesystem::path folder;
  const Stamp stamp;
  platform::Clock& clock;
  platform::CSMutex mutex;
  platform::File file;
  std::string lastMessage;
};

// The process's two logs, in "errordata" and "LogData" beside the library. They are made by the
// first call and stay until ReleaseProcessLogs.
TextLog& ErrorLog();
TextLog& DataFileLog();

// Ends both logs and their set-up: when the library is unloaded and no thread can use them any
// more.
void ReleaseProcessLogs();

}  // namespace idcardreader
