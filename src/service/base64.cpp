#include "service/base64.h"

namespace idcardreader {

std::vector<std::uint8_t> DecodeBase64(std::string_view text) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::string_view kSpaces = " \t\n\v\f\r";
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  std::uint32_t bits = 0;
  int bitCount = 0;
  bool ended = false;
  for (const char character : text) {
    const std::size_t digit = kDigits.find(character);
    if (digit == std::string_view::npos) {
      if (character != '=' && kSpaces.find(character) == std::string_view::npos) {
        return {};
      }
      ended = ended || character == '=';
      continue;
    }
    if (ended) {
      return {};
    }
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount));
    }
  }
  return bytes;
}

}  // namespace idcardreader
