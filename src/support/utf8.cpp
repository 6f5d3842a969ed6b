#include "support/utf8.h"

#include <cstdint>

namespace idcardreader {
namespace {

// What the lead byte says of its character: its bytes, and the range of the first one behind it.
struct Form {
  std::size_t length;
  std::uint8_t least;
  std::uint8_t most;
};

Form FormOf(std::uint8_t lead) {
  if (lead < 0x80) return {1, 0, 0};
  if (lead < 0xC2) return {0, 0, 0};  // no lead byte, or one of an overlong form
  if (lead < 0xE0) return {2, 0x80, 0xBF};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};  // surrogates begin at ED A0
  if (lead < 0xF0) return {3, 0x80, 0xBF};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead < 0xF4) return {4, 0x80, 0xBF};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace

bool IsValidUtf8(std::string_view text) {
  const auto byte = [&text](std::size_t index) { return static_cast<std::uint8_t>(text[index]); };
  for (std::size_t begin = 0; begin < text.size();) {
    const Form form = FormOf(byte(begin));
    if (form.length == 0 || form.length > text.size() - begin) {
      return false;
    }
    for (std::size_t index = 1; index < form.length; ++index) {
      const std::uint8_t least = index == 1 ? form.least : 0x80;
      const std::uint8_t most = index == 1 ? form.most : 0xBF;
      if (byte(begin + index) < least || byte(begin + index) > most) {
        return false;
      }
    }
    begin += form.length;
  }
  return true;
}

}  // namespace idcardreader
