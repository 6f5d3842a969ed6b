#pragma once

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "platform/files.h"
#include "support/temporary_folder.h"
#include "support/text_log.h"

namespace idcardreader {

// What one of the process's two logs has been given since this was made, without the times.
class LoggedLines {
 public:
  explicit LoggedLines(TextLog& log = ErrorLog(), const char* folder = "errordata")
      : folder(platform::LibraryFolder() / folder),
        mark("--- " + std::to_string(std::random_device{}()) +
             std::to_string(std::random_device{}())) {
    log.Log(mark);
  }

  // The process's log file. Others run at the same time and have their own beside it.
  std::filesystem::path File() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      for (const std::string& line : LinesOf(entry.path())) {
        if (line.ends_with(mark)) {
          return entry.path();
        }
      }
    }
    return {};
  }

  std::vector<std::string> Get() const {
    std::vector<std::string> lines = LinesOf(File());
    const auto marked = std::find_if(lines.begin(), lines.end(), [this](const std::string& line) {
      return line.ends_with(mark);
    });
    lines.erase(lines.begin(), marked == lines.end() ? marked : marked + 1);
    for (std::string& line : lines) {
      line.erase(0, std::string("2024:01:02|03:04:05|006|").size());
    }
    return lines;
  }

 private:
  const std::filesystem::path folder;
  const std::string mark;
};

}  // namespace idcardreader
