#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "trace/log_lines.h"

namespace readcard::trace {

// A folder into which this process and others write logs. Files that were there when this was made
// are somebody else's.
class LogFolder {
 public:
  explicit LogFolder(std::filesystem::path place);

  // The new logs of this owner that were opened in this time; of several all but one are another
  // process's.
  std::vector<std::filesystem::path> Find(std::string_view owner, Moment from, Moment to) const;
  // Removes it, and the folder if it is new and nothing is left in it. False when that failed.
  bool Remove(const std::filesystem::path& file) const;

 private:
  const std::filesystem::path folder;
  const bool wasThere;
  const std::set<std::filesystem::path> before;
};

std::string FileText(const std::filesystem::path& file);

}  // namespace readcard::trace
