#include "base/bytes.h"

#include <stdexcept>

namespace devkit {
namespace {

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  throw std::invalid_argument("not a hexadecimal digit: '" + std::string(1, digit) + "'");
}

// One step of the splitmix64 generator.
std::uint64_t Mix(std::uint64_t& state) {
  state += 0x9E3779B97F4A7C15u;
  std::uint64_t mixed = state;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
  return mixed ^ (mixed >> 31);
}

}  // namespace

std::string ToHex(ByteView bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

Bytes FromHex(std::string_view text) {
  if (text.size() % 2 != 0) throw std::invalid_argument("an odd number of hexadecimal digits");
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t i = 0; i < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(DigitValue(text[i]) * 16 + DigitValue(text[i + 1])));
  }
  return bytes;
}

Bytes PatternBytes(std::uint64_t seed, std::string_view purpose, std::size_t count) {
  std::uint64_t state = seed;
  for (const char letter : purpose) {
    state ^= static_cast<std::uint8_t>(letter);
    state = Mix(state);
  }
  Bytes bytes(count);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(Mix(state));
  return bytes;
}

}  // namespace devkit
