#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace devkit {

// Yields the lines that a virtual reader adds to its journal, whole ones only. A journal that has
// begun anew is followed from its beginning.
class JournalFollower {
 public:
  // Empties the journal: what was before is nobody's concern.
  explicit JournalFollower(std::filesystem::path file);

  std::vector<nlohmann::json> NewLines();

 private:
  std::filesystem::path file;
  std::uintmax_t offset = 0;
  std::string rest;  // a line whose end has not come yet
};

}  // namespace devkit
