#include "configuration.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "platform/files.h"

namespace readcard {
namespace {

constexpr char kFileName[] = "conf.yaml";
constexpr char kFirstComment[] = "# settings of the reader";

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

void Set(std::vector<std::string>& lines, const std::string& key, const std::string& value) {
  std::erase_if(lines, [&](const std::string& line) { return line.starts_with(key + ": "); });
  // The library passes over a first line that is a setting, but not behind a comment.
  if (lines.empty() || !(lines[0].starts_with('#') || lines[0].starts_with(';'))) {
    lines.insert(lines.begin(), kFirstComment);
  }
  lines.push_back(key + ": " + value);
}

bool IsNumber(const std::string& text) {
  return !text.empty() && text.size() <= 3 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::string WithSerialPort(const std::string& configuration, const std::string& port) {
  std::vector<std::string> lines = Lines(configuration);
  const std::string number =
      port.starts_with("COM") || port.starts_with("com") ? port.substr(3) : port;
  if (port.starts_with('/')) {
    Set(lines, "comname", port);
  } else if (IsNumber(number)) {
    Set(lines, "comnum", number);
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("comname: "); });
  } else {
    return {};
  }
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

bool ConfigureSerialPort(const std::string& port, std::string& complaint) {
  const std::filesystem::path file = idcardreader::platform::ExecutableFolder() / kFileName;
  std::ifstream before(file, std::ios::binary);
  const std::string old{std::istreambuf_iterator<char>(before), std::istreambuf_iterator<char>()};
  before.close();
  const std::string text = WithSerialPort(old, port);
  if (text.empty()) {
    complaint = port + " is no serial port: use COM1 to COM999, or a device's path.";
    return false;
  }
  if (text == old) return true;
  std::ofstream after(file, std::ios::binary | std::ios::trunc);
  after << text;
  after.close();
  if (after.fail()) complaint = "conf.yaml beside the program cannot be written.";
  return !after.fail();
}

}  // namespace readcard
