#include "datafile/scrambling.h"

#include <stdexcept>

#include "base/bytes.h"

namespace devkit {

std::string Scramble(std::string_view text, std::string_view key, unsigned char start) {
  Bytes bytes = {start};
  for (std::size_t i = 0; i < text.size(); ++i) {
    // The reader subtracts the previous byte p: x - p for x > p, one less otherwise, modulo 256. A
    // zero byte has no x (but after p = 255), which is why texts alone can be carried.
    const unsigned letter = static_cast<std::uint8_t>(text[i]);
    if (letter == 0) throw std::invalid_argument("a zero byte cannot be scrambled");
    unsigned mixed = bytes.back() + letter;
    if (mixed > 0xFF) mixed -= 0xFF;
    bytes.push_back(
        static_cast<std::uint8_t>(mixed ^ static_cast<std::uint8_t>(key[i % key.size()])));
  }
  return ToHex(bytes);
}

std::string Descramble(std::string_view scrambled, std::string_view key) {
  const Bytes bytes = FromHex(scrambled);
  if (bytes.empty()) throw std::invalid_argument("a scrambled text holds its start value at least");
  std::string text;
  for (std::size_t i = 1; i < bytes.size(); ++i) {
    const unsigned previous = bytes[i - 1];
    const unsigned mixed = bytes[i] ^ static_cast<std::uint8_t>(key[(i - 1) % key.size()]);
    text += static_cast<char>(mixed > previous ? mixed - previous : mixed - previous - 1);
  }
  return text;
}

}  // namespace devkit
