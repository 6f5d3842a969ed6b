#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/code_page.h"

namespace idcardreader {

// Bytes written as hexadecimal digits, "bb A2".
inline std::string Text(std::string_view hex) {
  std::string digits(hex);
  std::erase(digits, ' ');
  std::string text;
  for (std::size_t index = 0; index < digits.size(); index += 2) {
    text += static_cast<char>(std::stoul(digits.substr(index, 2), nullptr, 16));
  }
  return text;
}

inline std::vector<std::uint8_t> Bytes(std::string_view hex) {
  const std::string text = Text(hex);
  return {text.begin(), text.end()};
}

// The GBK form of a text whose bytes do not matter to the test; where they do, it writes them out.
inline std::string Gbk(std::string_view utf8) {
  return platform::Utf16ToGbk(platform::Utf8ToUtf16(utf8));
}

}  // namespace idcardreader
