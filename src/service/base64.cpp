#include "service/base64.h"

#include <array>

namespace idcardreader {
namespace {

// What all but digits have in common.
constexpr std::uint8_t kNoDigit = 0x80;
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
  std::vector<std::uint8_t> bytes(text.size() / 4 * 3 + 3);
  std::uint8_t* end = bytes.data();
  const auto value = [&text](std::size_t position) -> std::uint32_t {
    return kDigitValues[static_cast<std::uint8_t>(text[position])];
  };
  // Four digits at a time up to the first other character.
  std::size_t position = 0;
  for (; text.size() - position >= 4; position += 4) {
    const std::uint32_t first = value(position);
    const std::uint32_t second = value(position + 1);
    const std::uint32_t third = value(position + 2);
    const std::uint32_t fourth = value(position + 3);
    if (((first | second | third | fourth) & kNoDigit) != 0) {
      break;
    }
    const std::uint32_t bits = first << 18 | second << 12 | third << 6 | fourth;
    *end++ = static_cast<std::uint8_t>(bits >> 16);
    *end++ = static_cast<std::uint8_t>(bits >> 8);
    *end++ = static_cast<std::uint8_t>(bits);
  }
  std::uint32_t bits = 0;
  int bitCount = 0;
  bool ended = false;
  for (; position < text.size(); ++position) {
    const std::uint32_t digit = value(position);
    if (digit == kSpace) {
      continue;
    }
    if (digit == kPad) {
      ended = true;
      continue;
    }
    if (digit == kOther || ended) {
      return {};
    }
    bits = bits << 6 | digit;
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      *end++ = static_cast<std::uint8_t>(bits >> bitCount);
    }
  }
  bytes.resize(static_cast<std::size_t>(end - bytes.data()));
  return bytes;
}

}  // namespace idcardreader
