#include "service/base64.h"

#include <array>

namespace idcardreader {
namespace {

constexpr std::uint8_t kOther = 0xFF;
constexpr std::uint8_t kSpace = 0xFE;
constexpr std::uint8_t kPad = 0xFD;

constexpr std::array<std::uint8_t, 256> MakeDigitValues() {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> values{};
  values.fill(kOther);
  for (std::size_t index = 0; index < kAlphabet.size(); ++index) {
    values[static_cast<std::uint8_t>(kAlphabet[index])] = static_cast<std::uint8_t>(index);
  }
  for (const char space : {' ', '\t', '\n', '\v', '\f', '\r'}) {
    values[static_cast<std::uint8_t>(space)] = kSpace;
  }
  values[static_cast<std::uint8_t>('=')] = kPad;
  return values;
}

constexpr std::array<std::uint8_t, 256> kDigitValues = MakeDigitValues();

}  // namespace

std::vector<std::uint8_t> DecodeBase64(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  std::uint32_t bits = 0;
  int bitCount = 0;
  bool ended = false;
  for (const char character : text) {
    const std::uint8_t value = kDigitValues[static_cast<std::uint8_t>(character)];
    if (value == kSpace) {
      continue;
    }
    if (value == kPad) {
      ended = true;
      continue;
    }
    if (value == kOther || ended) {
      return {};
    }
    bits = bits << 6 | value;
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount));
    }
  }
  return bytes;
}

}  // namespace idcardreader
