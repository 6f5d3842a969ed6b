#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "support/logs.h"
#include "support/temporary_folder.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#endif

namespace idcardreader {

// Opens this process's error log before its first test, in a millisecond of its own: processes that
// begin in the same one would share a file.
class OwnErrorLog : public testing::Environment {
 public:
  void SetUp() override {
    const std::filesystem::path folder = platform::LibraryFolder() / "errordata";
#ifndef _WIN32  // where each program is one process
    const int lock = open((folder.string() + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    flock(lock, LOCK_EX);
#endif
    platform::SystemClock().Sleep(2);
    const std::string mark = "begun " + std::to_string(std::random_device{}());
    ErrorLog().Log(mark);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::vector<std::string> lines = LinesOf(entry.path());
      if (lines.size() == 1 && lines.front().ends_with(mark)) file = entry.path();
    }
#ifndef _WIN32
    close(lock);
#endif
  }
  void TearDown() override {
    std::error_code ignored;  // a system may keep a file that is open
    std::filesystem::remove(file, ignored);
  }

  std::filesystem::path file;
};
inline const auto* const ownErrorLog =
    static_cast<OwnErrorLog*>(testing::AddGlobalTestEnvironment(new OwnErrorLog));

// What that log has been given since this was made, without the times.
class LoggedLines {
 public:
  std::vector<std::string> Get() const {
    std::vector<std::string> lines = LinesOf(ownErrorLog->file);
    lines.erase(lines.begin(), lines.begin() + before);
    for (std::string& line : lines) line.erase(0, sizeof "2024:01:02|03:04:05|006|" - 1);
    return lines;
  }

 private:
  const std::ptrdiff_t before = std::ssize(LinesOf(ownErrorLog->file));
};

}  // namespace idcardreader
