#pragma once

#include <cstdio>
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

// A folder that is there for one test.
class TemporaryFolder {
 public:
  TemporaryFolder()
      : path(platform::ExecutableFolder() /
             ("temporary-" + std::to_string(std::random_device{}()))) {
    std::filesystem::create_directory(path);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  void Write(const char* name, std::string_view bytes) const {
    std::ofstream(path / name, std::ios::binary) << bytes;
  }

  const std::filesystem::path path;
};

}  // namespace idcardreader
