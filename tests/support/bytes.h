#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/code_page.h"

namespace idcardreader {

// Bytes written as hexadecimal digits, "bb A2".
inline std::vector<std::uint8_t> Bytes(std::string_view hex) {
  std::vector<std::uint8_t> bytes;
  std::string pair;
  for (const char digit : hex) {
    if (digit == ' ') continue;
    pair.push_back(digit);
    if (pair.size() == 2) {
      bytes.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
      pair.clear();
    }
  }
  return bytes;
}

inline std::string Text(std::string_view hex) {
  const auto bytes = Bytes(hex);
  return {bytes.begin(), bytes.end()};
}

// The GBK form of a text whose bytes do not matter to the test; where they do, it writes them out.
inline std::string Gbk(std::string_view utf8) {
  return platform::Utf16ToGbk(platform::Utf8ToUtf16(utf8));
}

}  // namespace idcardreader
