#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/code_page.h"

namespace idcardreader {

inline std::string GbkOf(std::string_view utf8) {
  return platform::Utf16ToGbk(platform::Utf8ToUtf16(utf8));
}

// A text of the system, written as UTF-8 in the source and turned into GBK once, when the library
// is loaded. GBK never needs more bytes than UTF-8. Without a destructor, so that threads which
// still run while the process ends can go on using it.
template <std::size_t Capacity>
class GbkText {
 public:
  template <std::size_t Size>
  explicit GbkText(const char (&utf8)[Size]) {
    static_assert(Size - 1 <= Capacity, "the text does not fit");
    const std::string gbk = GbkOf(std::string_view(utf8, Size - 1));
    length = std::min(gbk.size(), bytes.size());
    std::copy_n(gbk.begin(), length, bytes.begin());
  }

  operator std::string_view() const { return {bytes.data(), length}; }

 private:
  std::array<char, Capacity> bytes{};
  std::size_t length = 0;
};

template <std::size_t Size>
GbkText(const char (&utf8)[Size]) -> GbkText<Size>;

// Strictly: no overlong forms, no surrogates, nothing above U+10FFFF, nothing cut off.
bool IsValidUtf8(std::string_view text);

enum class TextEncoding { gbk, utf8 };

// What of a text fits into so many bytes, without the half of a character at its end. Malformed text
// is cut as well.
std::string_view CutText(std::string_view text, std::size_t longest, TextEncoding encoding);

// The pieces between the separators; always one more than there are separators.
std::vector<std::string_view> SplitText(std::string_view text, char separator);

// Two upper-case hexadecimal digits a byte, without separators.
std::string HexText(const std::uint8_t* bytes, std::size_t count);

template <typename Bytes>
std::string HexText(const Bytes& bytes) {
  return HexText(bytes.data(), bytes.size());
}

// The byte of two digits: "4F" is 0x4F, "4x" is 4, "x4" is 0, the way strtol reads them.
std::uint8_t HexPairValue(char high, char low);

}  // namespace idcardreader
