#include "base/encoding.h"

#include <zlib.h>

#include <cstdint>

namespace fuzz {

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t begin = 0; begin < bytes.size(); begin += 3) {
    const std::string_view group = bytes.substr(begin, 3);
    std::uint32_t bits = 0;
    for (std::size_t index = 0; index < 3; ++index) {
      bits = bits << 8 | (index < group.size() ? static_cast<std::uint8_t>(group[index]) : 0U);
    }
    for (std::size_t index = 0; index < 4; ++index) {
      text += index <= group.size() ? kDigits[bits >> (18 - 6 * index) & 63] : '=';
    }
  }
  return text;
}

std::string Deflated(std::string_view text) {
  uLongf size = compressBound(text.size());
  std::string bytes(size, '\0');
  compress2(reinterpret_cast<Bytef*>(bytes.data()), &size,
            reinterpret_cast<const Bytef*>(text.data()), text.size(), Z_BEST_SPEED);
  bytes.resize(size);
  return bytes;
}

}  // namespace fuzz
