#include "datafile/data_files.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "base/bytes.h"
#include "base/json_file.h"
#include "datafile/scrambling.h"

namespace devkit {
namespace {

DataLine Line(const std::string& name, const std::string& value) {
  if (value.empty() || value.find_first_of("\t\r\n") != std::string::npos) {
    throw std::invalid_argument("a value must not be empty nor hold tabs or line ends");
  }
  return {name, name + "=" + value};
}

bool IsEndpoint(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == 0 || colon == std::string::npos) return false;
  const std::string port = text.substr(colon + 1);
  return !port.empty() && port.size() <= 5 &&
         std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
         std::stoul(port) >= 1 && std::stoul(port) <= 65535;
}

}  // namespace

std::string DataLine::Value() const {
  const std::size_t equals = field.find('=');
  return equals == std::string::npos ? std::string() : field.substr(equals + 1);
}

std::vector<DataLine> AppIdLines(const std::string& appId) { return {Line("appid", appId)}; }

std::vector<DataLine> HostPortLines(const std::vector<std::string>& endpoints) {
  std::vector<DataLine> lines;
  for (const std::string& endpoint : endpoints) {
    if (!IsEndpoint(endpoint)) {
      throw std::invalid_argument("\"" + endpoint + "\" is no host, \":\" and port");
    }
    lines.push_back(Line("hostport" + std::to_string(lines.size() + 1), endpoint));
  }
  return lines;
}

std::string DataFileText(const std::vector<DataLine>& lines) {
  std::string text;
  for (const DataLine& line : lines) {
    const unsigned char start = PatternBytes(lines.size(), line.field, 1).front();
    text += line.name + "\t" + Scramble(line.field, kDataFileKey, start) + "\n";
  }
  return text;
}

std::vector<DataLine> ParseDataFile(const std::string& text, const std::string& where) {
  std::vector<DataLine> lines;
  int number = 0;
  for (std::size_t start = 0; start < text.size();) {
    ++number;
    const std::size_t end = std::min(text.find('\n', start), text.size());
    std::string line = text.substr(start, end - start);
    start = end + 1;
    line.erase(std::min(line.find('\r'), line.size()));
    if (line.empty()) continue;
    const std::string place = where + ": line " + std::to_string(number);
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) throw FileError(place + ": no tab");
    try {
      lines.push_back({line.substr(0, tab), Descramble(line.substr(tab + 1), kDataFileKey)});
    } catch (const std::invalid_argument& error) {
      throw FileError(place + ": " + error.what());
    }
  }
  return lines;
}

void WriteDataFile(const std::filesystem::path& file, const std::vector<DataLine>& lines) {
  std::ofstream stream(file, std::ios::binary);
  stream << DataFileText(lines);
  stream.close();
  if (!stream) throw FileError(PathText(file) + ": cannot be written");
}

}  // namespace devkit
