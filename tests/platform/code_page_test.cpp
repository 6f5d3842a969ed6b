#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace idcardreader::platform {
namespace {

// Of everything that was added to it, with the lengths of the pieces.
struct Digest {
  void Add(const auto& text) {
    AddNumber(static_cast<std::uint32_t>(text.size()));
    for (auto unit : text) AddNumber(static_cast<std::make_unsigned_t<decltype(unit)>>(unit));
  }
  void AddNumber(std::uint32_t number) { value = (value ^ number) * 0x01000193u; }

  std::uint32_t value = 0x811C9DC5u;
};

// What the converters of Windows say about everything that there is to ask, condensed. The values
// were taken under Wine, whose tables are those that Microsoft published; a change of the questions
// means taking all of them anew from the Windows program.
TEST(CodePages, ConvertAsWindowsDoes) {
  Digest toGbk, fromGbk, several;
  for (unsigned first = 0; first < 256; ++first) {
    fromGbk.Add(GbkToUtf16(std::string(1, static_cast<char>(first))));
    for (unsigned second = 0; second < 256; ++second) {
      toGbk.Add(Utf16ToGbk(std::u16string(1, static_cast<char16_t>(first << 8 | second))));
      const std::string pair{static_cast<char>(first), static_cast<char>(second)};
      fromGbk.Add(GbkToUtf16(pair));
      fromGbk.Add(GbkToUtf16(pair + "\xD6\xD0"));
    }
    // Bytes at the edges of every class of UTF-8, and units, from a fixed sequence.
    static constexpr unsigned char kEdges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0,
                                               0xBF, 0xC0, 0xC1, 0xC2, 0xD8, 0xDC, 0xDF, 0xE0,
                                               0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3,
                                               0xF4, 0xF5, 0xF7, 0xF8, 0xFC, 0xFE, 0xFF};
    std::uint32_t state = first + 1;
    const auto next = [&state](std::uint32_t limit) {
      state = state * 1664525u + 1013904223u;
      return (state >> 16) % limit;
    };
    for (int round = 0; round < 50; ++round) {
      std::string bytes(next(12), '\0');
      for (char& byte : bytes) {
        byte = static_cast<char>(next(4) != 0 ? kEdges[next(sizeof kEdges)] : 0x80 + next(0x40));
      }
      const std::u16string text = Utf8ToUtf16(bytes);
      several.Add(text);
      several.Add(Utf16ToUtf8(text));
      several.Add(GbkToUtf16(bytes));
      std::u16string units;
      for (const char byte : bytes) units += static_cast<char16_t>((byte & 0xFF) * 0x101);
      several.Add(Utf16ToGbk(units));
      several.Add(Utf16ToUtf8(units));
    }
  }
  EXPECT_EQ(toGbk.value, 0x8E751138);
  EXPECT_EQ(fromGbk.value, 0xFBEF530A);
  EXPECT_EQ(several.value, 0x24C818C5);
}

}  // namespace
}  // namespace idcardreader::platform
