#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace idcardreader {

// The lines of a file; none when it cannot be read.
inline std::vector<std::string> LinesOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line.substr(0, line.find('\r')));
  }
  return lines;
}

// A folder that is there for one test, or as long as a file in it is loaded: what could not be
// removed then goes an hour later, with the next one.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::filesystem::create_directories(path);
    const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    for (const auto& entry : std::filesystem::directory_iterator(path.parent_path(), ignored)) {
      if (entry.last_write_time(ignored) < old) std::filesystem::remove_all(entry, ignored);
    }
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path, ignored); }

  void Write(const char* name, std::string_view bytes) const {
    std::ofstream(path / name, std::ios::binary) << bytes;
  }

  const std::filesystem::path path =
      platform::ExecutableFolder() / "temporary" / std::to_string(std::random_device{}());

 private:
  std::error_code ignored;
};

}  // namespace idcardreader
