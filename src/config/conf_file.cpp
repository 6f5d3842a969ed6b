#include "config/conf_file.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace idcardreader {
namespace {

constexpr std::size_t kLongestLine = 1023;
constexpr std::string_view kSeparator = ": ";

std::optional<std::string_view> ValueOf(std::string_view line, std::string_view key) {
  const std::size_t separator = line.find(kSeparator);
  if (separator == std::string_view::npos || line.substr(0, separator) != key) {
    return std::nullopt;
  }
  std::string_view value = line.substr(separator + kSeparator.size());
  value = value.substr(0, value.find('\r'));
  return value.substr(0, value.find('\n'));
}

// With its line end, so that an empty line is one character long.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t lineEnd = text.find('\n');
  const std::size_t length = lineEnd == std::string_view::npos ? text.size() : lineEnd + 1;
  const std::string_view line = text.substr(0, std::min(length, kLongestLine));
  text.remove_prefix(line.size());
  return line;
}

// The same lines on every platform, whoever wrote the file.
std::string WithLineFeeds(std::string_view text) {
  std::string lines;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] != '\r' || index + 1 == text.size() || text[index + 1] != '\n') {
      lines.push_back(text[index]);
    }
  }
  return lines;
}

}  // namespace

ConfFile ConfFile::FromText(std::string_view text) {
  const std::string unified = WithLineFeeds(text);
  std::string_view rest = unified;
  ConfFile file;
  bool commentFirst = false;
  while (!rest.empty()) {
    const std::string_view line = TakeLine(rest);
    if (line.size() < 2) {
      continue;
    }
    if (line.front() == '#' || line.front() == ';') {
      commentFirst = commentFirst || file.lines.empty();
      continue;
    }
    file.lines.emplace_back(line);
  }
  file.firstLookedAt = file.lines.size() > 1 && !commentFirst ? 1 : 0;
  return file;
}

std::string ConfFile::Text(std::string_view key, std::string_view defaultValue) const {
  for (std::size_t index = firstLookedAt; index < lines.size(); ++index) {
    if (const auto value = ValueOf(lines[index], key)) {
      return std::string(*value);
    }
  }
  return std::string(defaultValue);
}

bool ConfFile::Switch(std::string_view key) const { return Text(key, "false") == "true"; }

std::uint32_t ConfFile::Integer(std::string_view key, std::uint32_t defaultValue) const {
  const std::string value = Text(key, std::to_string(defaultValue));
  return static_cast<std::uint32_t>(std::strtoll(value.c_str(), nullptr, 10));
}

}  // namespace idcardreader
