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

// What the process's error log has been given since this was made, without the times.
class LoggedLines {
 public:
  LoggedLines() { ErrorLog().Log(mark); }

  std::vector<std::string> Get() const {
    // Others run at the same time and have their own file beside this process's.
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::vector<std::string> lines = LinesOf(entry.path());
      const auto marked = std::find_if(lines.begin(), lines.end(), [this](const std::string& line) {
        return line.ends_with(mark);
      });
      if (marked == lines.end()) continue;
      lines.erase(lines.begin(), marked + 1);
      for (std::string& line : lines) line.erase(0, sizeof "2024:01:02|03:04:05|006|" - 1);
      return lines;
    }
    return {};
  }

 private:
  const std::filesystem::path folder = platform::LibraryFolder() / "errordata";
  const std::string mark =
      "--- " + std::to_string(std::random_device{}()) + std::to_string(std::random_device{}());
};

}  // namespace idcardreader
