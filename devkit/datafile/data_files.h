#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace devkit {

// One line of a data file.
struct DataLine {
  std::string name;   // left of the tab
  std::string field;  // descrambled: a name, "=" and the value

  // What follows the first "=", or nothing.
  std::string Value() const;
};

std::vector<DataLine> AppIdLines(const std::string& appId);
// Endpoints in the order in which a client takes them, each a host, ":" and a port. Throws
// std::invalid_argument for any other form.
std::vector<DataLine> HostPortLines(const std::vector<std::string>& endpoints);

// A line each: name, tab, scrambled field, line feed.
std::string DataFileText(const std::vector<DataLine>& lines);

// Throws FileError for a line without a tab or with something else than hexadecimal digits after
// it.
std::vector<DataLine> ParseDataFile(const std::string& text, const std::string& where);

// Throws FileError when the file cannot be written.
void WriteDataFile(const std::filesystem::path& file, const std::vector<DataLine>& lines);

}  // namespace devkit
