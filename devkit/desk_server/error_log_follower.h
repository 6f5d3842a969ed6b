#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace devkit {

// A line of a host library's error log.
struct LoggedError {
  std::filesystem::path folder;  // of the library
  std::string text;              // UTF-8
};

// Follows the folder "errordata" beside each library that it was told of, from now on. Nothing is
// known of a library that nobody named.
class ErrorLogFollower {
 public:
  ErrorLogFollower();

  void AddLibrary(const std::filesystem::path& library);
  std::vector<LoggedError> NewLines();

 private:
  void Follow(const std::filesystem::path& folder, const std::filesystem::path& file,
              std::vector<LoggedError>& found);

  std::string start;  // the time of the oldest line that counts, as the log writes it
  std::vector<std::filesystem::path> folders;
  std::map<std::filesystem::path, std::uintmax_t> offsets;
};

}  // namespace devkit
