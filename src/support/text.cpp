#include "support/text.h"

#include <charconv>

namespace idcardreader {
namespace {

// Nothing in the bytes themselves tells the two halves of a character apart, but for the way from
// the text's beginning.
std::size_t GbkCut(std::string_view text, std::size_t longest) {
  std::size_t end = 0;
  while (end < longest) {
    const auto first = static_cast<unsigned char>(text[end]);
    const std::size_t length = first >= 0x81 && first <= 0xFE ? 2 : 1;
    if (end + length > longest) {
      break;
    }
    end += length;
  }
  return end;
}

std::size_t Utf8Cut(std::string_view text, std::size_t longest) {
  constexpr std::size_t kLongestCharacter = 4;
  std::size_t end = longest;
  while (end > 0 && longest - end < kLongestCharacter - 1 && (text[end] & 0xC0) == 0x80) {
    --end;
  }
  return (text[end] & 0xC0) == 0x80 ? longest : end;
}

}  // namespace

// What is malformed becomes another character on the way.
bool IsValidUtf8(std::string_view text) {
  return platform::Utf16ToUtf8(platform::Utf8ToUtf16(text)) == text;
}

std::string_view CutText(std::string_view text, std::size_t longest, TextEncoding encoding) {
  if (text.size() <= longest) {
    return text;
  }
  return text.substr(
      0, encoding == TextEncoding::gbk ? GbkCut(text, longest) : Utf8Cut(text, longest));
}

std::vector<std::string_view> SplitText(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return pieces;
    }
    text.remove_prefix(end + 1);
  }
}

std::string HexText(const std::uint8_t* bytes, std::size_t count) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(count * 2);
  for (std::size_t index = 0; index < count; ++index) {
    text += kDigits[bytes[index] >> 4];
    text += kDigits[bytes[index] & 0x0F];
  }
  return text;
}

std::uint8_t HexPairValue(char high, char low) {
  const char digits[] = {high, low};
  std::uint8_t value = 0;
  std::from_chars(digits, digits + sizeof digits, value, 16);
  return value;
}

}  // namespace idcardreader
