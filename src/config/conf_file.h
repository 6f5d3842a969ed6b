#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace idcardreader {

// The lines of conf.yaml: a key, ": " and a value each. Lines that begin with "#" or ";" and lines
// of less than 2 characters are dropped. The first kept line is passed over by look-ups, unless it
// is the only one or a dropped comment stands before it.
class ConfFile {
 public:
  // A line of 1,024 or more bytes counts as several.
  static ConfFile FromText(std::string_view text);

  std::string Text(std::string_view key, std::string_view defaultValue) const;
  // True for the value "true" alone.
  bool Switch(std::string_view key) const;
  // A value that is no number is 0.
  std::uint32_t Integer(std::string_view key, std::uint32_t defaultValue) const;

 private:
  std::vector<std::string> lines;
  std::size_t firstLookedAt = 0;
};

}  // namespace idcardreader
