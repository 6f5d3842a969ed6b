#include "support/text_cut.h"

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

std::string_view CutText(std::string_view text, std::size_t longest, TextEncoding encoding) {
  if (text.size() <= longest) {
    return text;
  }
  return text.substr(
      0, encoding == TextEncoding::gbk ? GbkCut(text, longest) : Utf8Cut(text, longest));
}

}  // namespace idcardreader
