#include "support/hex_text.h"

namespace idcardreader {
namespace {

bool IsHexDigit(char digit) {
  return (digit >= '0' && digit <= '9') || (digit >= 'A' && digit <= 'F') ||
         (digit >= 'a' && digit <= 'f');
}

}  // namespace

std::string HexText(const std::uint8_t* bytes, std::size_t count) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text(count * 2, '0');
  for (std::size_t index = 0; index < count; ++index) {
    text[2 * index] = kDigits[bytes[index] >> 4];
    text[2 * index + 1] = kDigits[bytes[index] & 0x0F];
  }
  return text;
}

unsigned HexDigitValue(char digit) {
  if (digit >= '0' && digit <= '9') {
    return static_cast<unsigned>(digit - '0');
  }
  if (digit >= 'A' && digit <= 'F') {
    return static_cast<unsigned>(digit - 'A') + 10;
  }
  if (digit >= 'a' && digit <= 'f') {
    return static_cast<unsigned>(digit - 'a') + 10;
  }
  return 0;
}

std::uint8_t HexPairValue(char high, char low) {
  if (!IsHexDigit(high)) {
    return 0;
  }
  if (!IsHexDigit(low)) {
    return static_cast<std::uint8_t>(HexDigitValue(high));
  }
  return static_cast<std::uint8_t>(HexDigitValue(high) * 16 + HexDigitValue(low));
}

}  // namespace idcardreader
