#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "support/logs.h"
#include "support/temporary_folder.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace idcardreader {

inline std::string UniqueMark() {
  return "--- " + std::to_string(std::random_device{}()) + std::to_string(std::random_device{}());
}

// Opens this process's error log before its first test, in a millisecond of its own: processes that
// begin in the same one would share a file.
class OwnErrorLog : public testing::Environment {
 public:
  ~OwnErrorLog() override {
    std::error_code ignored;  // a system may keep a file that is open
    std::filesystem::remove(file, ignored);
  }

  void SetUp() override {
    const std::filesystem::path folder = platform::LibraryFolder() / "errordata";
    const std::string mark = UniqueMark();
#ifndef _WIN32  // where each program is one process
    const int lock = open((folder.string() + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    flock(lock, LOCK_EX);
#endif
    platform::SystemClock().Sleep(2);
    ErrorLog().Log(mark);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::vector<std::string> lines = LinesOf(entry.path());
      if (lines.size() == 1 && lines.front().ends_with(mark)) file = entry.path();
    }
#ifndef _WIN32
    close(lock);
#endif
  }

  std::filesystem::path file;
};
inline OwnErrorLog* const ownErrorLog = [] {
  auto* const log = new OwnErrorLog;  // the testing framework's from now on
  testing::AddGlobalTestEnvironment(log);
  return log;
}();

// What that log has been given since this was made, without the times.
class LoggedLines {
 public:
  LoggedLines() { ErrorLog().Log(mark); }

  std::vector<std::string> Get() const {
    std::vector<std::string> lines = LinesOf(ownErrorLog->file);
    const auto marked = std::find_if(lines.begin(), lines.end(), [this](const std::string& line) {
      return line.ends_with(mark);
    });
    if (marked == lines.end()) return {};
    lines.erase(lines.begin(), marked + 1);
    for (std::string& line : lines) line.erase(0, sizeof "2024:01:02|03:04:05|006|" - 1);
    return lines;
  }

 private:
  const std::string mark = UniqueMark();
};

}  // namespace idcardreader
