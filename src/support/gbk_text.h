#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/code_page.h"

namespace idcardreader {

// A text of the system, written as UTF-8 in the source and turned into GBK once, when the library
// is loaded. GBK never needs more bytes than UTF-8. Without a destructor, so that threads which
// still run while the process ends can go on using it.
template <std::size_t Capacity>
class GbkText {
 public:
  template <std::size_t Size>
  explicit GbkText(const char (&utf8)[Size]) {
    static_assert(Size - 1 <= Capacity, "the text does not fit");
    const std::string gbk =
        platform::Utf16ToGbk(platform::Utf8ToUtf16(std::string_view(utf8, Size - 1)));
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

}  // namespace idcardreader
