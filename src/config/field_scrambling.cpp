#include "config/field_scrambling.h"

#include <cstdint>

#include "support/hex_text.h"

namespace idcardreader {

std::string DescrambleField(std::string_view hexText, std::string_view key) {
  if (hexText.size() < 2) {
    return {};
  }
  if (key.empty()) {
    key = kDefaultFieldKey;
  }
  std::string plain;
  int previous = HexPairValue(hexText[0], hexText[1]);
  std::size_t keyIndex = 0;
  for (std::size_t index = 2; index + 1 < hexText.size(); index += 2) {
    const int scrambled = HexPairValue(hexText[index], hexText[index + 1]);
    const int mixed = static_cast<signed char>(key[keyIndex]) ^ scrambled;
    keyIndex = (keyIndex + 1) % key.size();
    const int difference = mixed > previous ? mixed - previous : mixed - previous - 1;
    plain.push_back(static_cast<char>(static_cast<std::uint8_t>(difference)));
    previous = scrambled;
  }
  return plain;
}

}  // namespace idcardreader
