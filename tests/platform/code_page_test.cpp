#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace idcardreader::platform {
namespace {

using namespace std::string_literals;

// What no single unit or pair of bytes asks.
TEST(CodePages, TakeTextsOfSeveralUnits) {
  const std::pair<std::u16string, std::string> rows[] = {
      {u"啊齄丂镕\u20AC\uE000", "\xB0\xA1\xF7\xFE\x81\x40\xE9\x46\x80\xAA\xA1"},
      {u"\U00020BB7", "??"},  // one for each unit
      {u"\xDFB7王\xD842", "?\xCD\xF5?"},
      {u"a\0b"s, "a\0b"s}};
  for (const auto& [text, gbk] : rows) EXPECT_EQ(Utf16ToGbk(text), gbk);
  EXPECT_EQ(GbkToUtf16("\xD6\0A\xD6 \xD6\xD0\xB9"s), u"?\0A?中?"s);
  EXPECT_EQ(Utf8ToUtf16("\xEF\xBB\xBF!\xE4\xB8!?\0\xF0!?"s), u"\uFEFF!\uFFFD!?\0\uFFFD"s);
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xDC00, 0xD800, u'!', 0xD800, 0xD800, 0xDC00}),
            "\xEF\xBF\xBD\xEF\xBF\xBD!\xEF\xBF\xBD\xF0\x90\x80\x80");
}

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
  Digest toGbk, fromGbk, utf8;
  for (unsigned first = 0; first < 256; ++first) {
    fromGbk.Add(GbkToUtf16(std::string(1, static_cast<char>(first))));
    for (unsigned second = 0; second < 256; ++second) {
      toGbk.Add(Utf16ToGbk(std::u16string(1, static_cast<char16_t>(first << 8 | second))));
      const std::string pair{static_cast<char>(first), static_cast<char>(second)};
      fromGbk.Add(GbkToUtf16(pair));
      fromGbk.Add(GbkToUtf16(pair + "\xD6\xD0"));
    }
    // Bytes at the edges of every class of UTF-8, from a fixed sequence.
    static constexpr unsigned char kEdges[] = {
        0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1,
        0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFC, 0xFE, 0xFF};
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
      utf8.Add(text);
      utf8.Add(Utf16ToUtf8(text));
      utf8.Add(GbkToUtf16(bytes));
    }
  }
  EXPECT_EQ(toGbk.value, 0x8E751138);
  EXPECT_EQ(fromGbk.value, 0xFBEF530A);
  EXPECT_EQ(utf8.value, 0x67E28FAF);
}

}  // namespace
}  // namespace idcardreader::platform
