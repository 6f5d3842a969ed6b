#include "config/data_files.h"

#include <cstdint>
#include <utility>

#include "support/text.h"

namespace idcardreader {
namespace {

constexpr std::string_view kDefaultFieldKey = "kvb";

std::string ValueOfLine(std::string_view line) {
  line = line.substr(0, line.find('\r'));
  const std::size_t tab = line.find('\t');
  if (tab == std::string_view::npos) {
    return {};
  }
  const std::string field = DescrambleField(line.substr(tab + 1), kDataFileKey);
  const std::size_t equals = field.find('=');
  return equals == std::string::npos ? std::string() : field.substr(equals + 1);
}

}  // namespace

std::string DescrambleField(std::string_view hexText, std::string_view key) {
  if (hexText.size() < 2) {
    return {};
  }
  if (key.empty()) {
    key = kDefaultFieldKey;
  }
  std::string plain;
  int previous = HexPairValue(hexText[0], hexText[1]);
  std::size_t keyIndex = 0;
  for (std::size_t index = 2; index + 1 < hexText.size(); index += 2) {
    const int scrambled = HexPairValue(hexText[index], hexText[index + 1]);
    const int mixed = static_cast<signed char>(key[keyIndex]) ^ scrambled;
    keyIndex = (keyIndex + 1) % key.size();
    const int difference = mixed > previous ? mixed - previous : mixed - previous - 1;
    plain.push_back(static_cast<char>(static_cast<std::uint8_t>(difference)));
    previous = scrambled;
  }
  return plain;
}

std::vector<std::string> DataFileValues(std::string_view fileText) {
  std::vector<std::string> values;
  while (!fileText.empty()) {
    const std::size_t lineEnd = fileText.find('\n');
    std::string value = ValueOfLine(fileText.substr(0, lineEnd));
    if (!value.empty()) {
      values.push_back(std::move(value));
    }
    fileText.remove_prefix(lineEnd == std::string_view::npos ? fileText.size() : lineEnd + 1);
  }
  return values;
}

}  // namespace idcardreader
