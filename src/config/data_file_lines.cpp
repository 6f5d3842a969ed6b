#include "config/data_file_lines.h"

#include "config/field_scrambling.h"

namespace idcardreader {
namespace {

std::string ValueOfLine(std::string_view line, std::string_view key) {
  line = line.substr(0, line.find('\r'));
  const std::size_t tab = line.find('\t');
  if (tab == std::string_view::npos) {
    return {};
  }
  const std::string field = DescrambleField(line.substr(tab + 1), key);
  const std::size_t equals = field.find('=');
  return equals == std::string::npos ? std::string() : field.substr(equals + 1);
}

}  // namespace

std::vector<std::string> DataFileValues(std::string_view fileText, std::string_view key) {
  std::vector<std::string> values;
  while (!fileText.empty()) {
    const std::size_t lineEnd = fileText.find('\n');
    std::string value = ValueOfLine(fileText.substr(0, lineEnd), key);
    if (!value.empty()) {
      values.push_back(std::move(value));
    }
    fileText.remove_prefix(lineEnd == std::string_view::npos ? fileText.size() : lineEnd + 1);
  }
  return values;
}

}  // namespace idcardreader
