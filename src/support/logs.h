#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
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

// The activity log of one owner ("Reader", "Server"), in "logdata" beside the library: nothing at
// all while it is switched off. The first message opens its file and starts a thread that writes, so
// that a line never waits for a disk. Any thread may log.
class ActivityLog {
 public:
  ActivityLog(std::string name, platform::Clock& clock);

  void Switch(bool switchOn) { on = switchOn; }
  bool On() const { return on; }
  void Log(std::string_view message);
  // Ends the thread and drops what it has not written yet; a later message opens a new file.
  void Close();

 private:
  class Writer;

  const std::string name;
  platform::Clock& clock;
  std::atomic<bool> on = false;
  platform::CSMutex mutex;  // guards writer
  std::shared_ptr<Writer> writer;
};

// Writes a line to the process's standard output, unless that is switched off for the process; it is
// on at first. Never fails its caller and hardly delays it: what standard output does not take is
// lost.
void PrintLine(std::string_view text);
void SwitchPrinting(bool on);

}  // namespace idcardreader
