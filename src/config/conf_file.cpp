#include "config/conf_file.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace idcardreader {
namespace {

constexpr std::size_t kLongestLine = 1023;
constexpr std::string_view kSeparator = ": ";

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

class ConfFile {
 public:
  explicit ConfFile(std::string_view text) {
    bool commentFirst = false;
    while (!text.empty()) {
      const std::string_view line = TakeLine(text);
      if (line.size() < 2) {
        continue;
      }
      if (line.front() == '#' || line.front() == ';') {
        commentFirst = commentFirst || lines.empty();
        continue;
      }
      lines.push_back(line);
    }
    if (lines.size() > 1 && !commentFirst) {
      lines.erase(lines.begin());
    }
  }

  std::string Text(std::string_view key, std::string_view defaultValue) const {
    for (const std::string_view line : lines) {
      const std::size_t separator = line.find(kSeparator);
      if (separator != std::string_view::npos && line.substr(0, separator) == key) {
        const std::string_view value = line.substr(separator + kSeparator.size());
        return std::string(value.substr(0, value.find_first_of("\r\n")));
      }
    }
    return std::string(defaultValue);
  }

  std::uint32_t Integer(std::string_view key, std::uint32_t defaultValue) const {
    const std::string value = Text(key, std::to_string(defaultValue));
    return static_cast<std::uint32_t>(std::strtoll(value.c_str(), nullptr, 10));
  }

 private:
  std::vector<std::string_view> lines;
};

}  // namespace

ReaderSettings ParseConfFile(std::string_view text) {
  const std::string unified = WithLineFeeds(text);
  const ConfFile file(unified);
  ReaderSettings settings;
  settings.canLog = file.Text("canLog", "false") == "true";
  settings.canPrint = file.Text("canPrint", "true") != "false";
  settings.vid = file.Integer("vid", settings.vid);
  settings.pid = file.Integer("pid", settings.pid);
  settings.comnum = file.Integer("comnum", settings.comnum);
  settings.comport = file.Integer("comport", settings.comport);
  settings.comname = file.Text("comname", settings.comname);
  return settings;
}

}  // namespace idcardreader
