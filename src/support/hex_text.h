#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace idcardreader {

// Two upper-case hexadecimal digits a byte, without separators.
std::string HexText(const std::uint8_t* bytes, std::size_t count);

template <typename Bytes>
std::string HexText(const Bytes& bytes) {
  return HexText(bytes.data(), bytes.size());
}

// The value of a hexadecimal digit of either case, 0 to 15; 0 for any other character, as the
// conversions of the C library stop there.
unsigned HexDigitValue(char digit);

// The byte of two digits: "4F" is 0x4F, "4x" is 4, "x4" is 0, the way strtol reads them.
std::uint8_t HexPairValue(char high, char low);

}  // namespace idcardreader
