#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <iomanip>
#include <sstream>

#include "platform/code_page_digests.h"

namespace idcardreader::platform {
namespace {

using namespace std::string_literals;

// A digest of everything that was added to it, with the lengths of the pieces.
class Digest {
 public:
  template <class Text>
  void Add(const Text& text) {
    AddNumber(static_cast<std::uint32_t>(text.size()));
    for (const auto unit : text) {
      AddNumber(static_cast<std::make_unsigned_t<typename Text::value_type>>(unit));
    }
  }
  std::uint32_t Value() const { return value; }

 private:
  void AddNumber(std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) {
      value = (value ^ (number >> shift & 0xFF)) * 0x01000193u;
    }
  }

  std::uint32_t value = 0x811C9DC5u;
};

std::string Hex(std::string_view bytes) {
  std::ostringstream text;
  text << std::hex << std::uppercase << std::setfill('0');
  for (const char byte : bytes) text << std::setw(2) << (static_cast<unsigned>(byte) & 0xFF);
  return text.str();
}

struct GbkPair {
  char16_t character;
  const char* code;
};

// From the printed standards, not from any converter.
constexpr GbkPair kPairs[] = {
    {u'A', "A"},
    {u'\u3000', "\xA1\xA1"},
    {u'\u00B7', "\xA1\xA4"},  // the dot in names such as those of the Uyghurs
    {u'０', "\xA3\xB0"},
    {u'啊', "\xB0\xA1"},  // first of the first level of GB 2312
    {u'座', "\xD7\xF9"},  // its last
    {u'亍', "\xD8\xA1"},  // first of the second level
    {u'齄', "\xF7\xFE"},  // its last
    {u'丂', "\x81\x40"},  // first of what GBK adds
    {u'镕', "\xE9\x46"},  // in names, and in GBK only
    {u'喆', "\x86\xB4"},
    {u'堃', "\x88\xD2"},
    {u'\u20AC', "\x80"},  // where Windows keeps the euro
    {u'\uE000', "\xAA\xA1"},
    {u'\uE233', "\xAF\xFE"},
    {u'\uE234', "\xF8\xA1"},
    {u'\uE4C5', "\xFE\xFE"},
    {u'\uE4C6', "\xA1\x40"},
    {u'\uE504', "\xA1\x7E"},
    {u'\uE505', "\xA1\x80"},
    {u'\uE765', "\xA7\xA0"},
    {u'\uE766', "\xA2\xAB"},  // the first cell that is free outside the user-defined areas
    {u'\uE864', "\xFE\xA0"},  // and the last
};

TEST(Gbk, HoldsTheStandardsCharactersBothWays) {
  for (const GbkPair& pair : kPairs) {
    const std::u16string text(1, pair.character);
    EXPECT_EQ(Hex(Utf16ToGbk(text)), Hex(pair.code));
    EXPECT_EQ(GbkToUtf16(pair.code), text) << Hex(pair.code);
  }
}

TEST(Gbk, TurnsEachUnitThatItCannotHoldIntoOneQuestionMark) {
  struct {
    std::u16string text;
    std::string gbk;
  } const cases[] = {
      {u"", ""},
      {u"\u00E9\u00F0\u00D0", "\xA8\xA6??"},  // é is in GBK; no look-alikes for the others
      {u"\u00A5\u00A3\u00B2", "???"},
      {u"\uF900\u322A", "??"},
      {u"\u9FA6", "?"},
      {u"\U00020BB7", "??"},
      {u"\xD842", "?"},
      {u"\xDFB7王\xD842", "?\xCD\xF5?"},
      {u"\uE864\uE865", "\xFE\xA0?"},
      {std::u16string(u"a\0b", 3), "a\0b"s},
      {u"\uFFFD\uFEFF", "??"},
  };
  for (const auto& [text, gbk] : cases) EXPECT_EQ(Hex(Utf16ToGbk(text)), Hex(gbk));
}

TEST(Gbk, ReadsMalformedBytesWithoutLosingItsPlace) {
  struct {
    std::string gbk;
    std::u16string text;
  } const cases[] = {
      {"", u""},
      {"\xD6", u"?"},             // cut off
      {"\xD6\xD0\xB9", u"中?"},   // cut off
      {"\xD6 \xD6\xD0", u"?中"},  // a trail byte that is none goes with its lead byte
      {"\xD6\x7F", u"?"},
      {"\xD6\xFF", u"?"},
      {"\x81\xFF"
       "A",
       u"?A"},
      {"\xD6\0A"s, std::u16string(u"?\0A", 3)},  // a zero byte never does
      {"\x80\xFF", u"\u20AC\uF8F5"},
  };
  for (const auto& [gbk, text] : cases) EXPECT_EQ(GbkToUtf16(gbk), text) << Hex(gbk);
}

TEST(Utf8, ReadsWhatIsWellFormed) {
  EXPECT_EQ(Utf8ToUtf16("A\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"),
            u"A\u0080\u07FF\u0800\uD7FF\uE000\uFFFF");
  EXPECT_EQ(Utf8ToUtf16("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), u"\U00010000\U0010FFFF");
  EXPECT_EQ(Utf8ToUtf16("\xEF\xBB\xBF"
                        "A"),
            u"\uFEFFA")
      << "a byte order mark is a character";
  EXPECT_EQ(Utf8ToUtf16("a\0b"s), std::u16string(u"a\0b", 3));
  EXPECT_EQ(Utf8ToUtf16(""), u"");
}

TEST(Utf8, ReplacesWhatIsMalformed) {
  struct {
    std::string utf8;
    std::u16string text;
  } const cases[] = {
      {"\x80", u"\uFFFD"},
      {"\xFF\xFE", u"\uFFFD\uFFFD"},
      {"\xC0\xAF", u"\uFFFD\uFFFD"},                // overlong
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD"},            // overlong
      {"\xF0\x80\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},  // overlong
      {"\xED\xA0\x80", u"\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
      {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xC2"
       "A",
       u"\uFFFDA"},
      {"\xE4\xB8"
       "ABC",
       u"\uFFFDABC"},
      {"\xF0\x9F\x98"
       "ABC",
       u"\uFFFDABC"},
      {"\xE4\xB8\xE4\xB8\xAD", u"\uFFFD中"},
      {"\xE4\xB8\xAD\xE4\xB8", u"中\uFFFD"},  // cut off
      {"\xF0"
       "AB",
       u"\uFFFD"},  // a first byte that the end cuts short takes the rest
      {"\xF0"
       "ABC",
       u"\uFFFDABC"},
  };
  for (const auto& [utf8, text] : cases) EXPECT_EQ(Utf8ToUtf16(utf8), text) << Hex(utf8);
}

TEST(Utf8, WritesPairsAndReplacesUnpairedSurrogates) {
  EXPECT_EQ(Utf16ToUtf8(u"A\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
            "A\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xD800}), "\xEF\xBF\xBD");
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xDC00, 0xD800, u'A'}),
            "\xEF\xBF\xBD\xEF\xBF\xBD"
            "A");
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xD800, 0xD800, 0xDC00}), "\xEF\xBF\xBD\xF0\x90\x80\x80");
}

// What the converters of Windows say about everything that there is to ask, condensed.

void ExpectDigests(std::string_view what, const std::array<std::uint32_t, 256>& expected,
                   Digest (*take)(unsigned)) {
  for (unsigned block = 0; block < expected.size(); ++block) {
    const std::uint32_t actual = take(block).Value();
    EXPECT_EQ(actual, expected[block]) << what << " " << std::hex << block << " gives 0x"
                                       << std::setfill('0') << std::setw(8) << actual;
  }
}

Digest CharactersToGbk(unsigned block) {
  Digest digest;
  for (unsigned unit = 0; unit < 256; ++unit) {
    digest.Add(Utf16ToGbk(std::u16string(1, static_cast<char16_t>(block << 8 | unit))));
  }
  return digest;
}

Digest BytePairsToUtf16(unsigned first) {
  Digest digest;
  digest.Add(GbkToUtf16(std::string(1, static_cast<char>(first))));
  for (unsigned second = 0; second < 256; ++second) {
    const std::string pair{static_cast<char>(first), static_cast<char>(second)};
    digest.Add(GbkToUtf16(pair));
    digest.Add(GbkToUtf16(pair + "\xD6\xD0"));
  }
  return digest;
}

// Strings of bytes at the edges of every class of UTF-8, from a fixed sequence.
Digest RandomBytesToUtf16(unsigned block) {
  static constexpr unsigned char kEdges[] = {
      0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1,
      0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFC, 0xFE, 0xFF};
  std::uint32_t state = block + 1;
  const auto next = [&state](std::uint32_t limit) {
    state = state * 1664525u + 1013904223u;
    return (state >> 16) % limit;
  };
  Digest digest;
  for (int round = 0; round < 50; ++round) {
    std::string bytes(next(12), '\0');
    for (char& byte : bytes) {
      byte = static_cast<char>(next(4) != 0 ? kEdges[next(sizeof kEdges)] : 0x80 + next(0x40));
    }
    const std::u16string text = Utf8ToUtf16(bytes);
    digest.Add(text);
    digest.Add(Utf16ToUtf8(text));
    digest.Add(GbkToUtf16(bytes));
  }
  return digest;
}

TEST(CodePages, GbkOfEveryUnitIsThatOfWindows) {
  ExpectDigests("characters", kCharactersToGbk, &CharactersToGbk);
}

TEST(CodePages, EveryBytePairReadsAsOnWindows) {
  ExpectDigests("lead byte", kBytePairsToUtf16, &BytePairsToUtf16);
}

TEST(CodePages, MalformedTextsReadAsOnWindows) {
  ExpectDigests("sequence", kRandomBytesToUtf16, &RandomBytesToUtf16);
}

}  // namespace
}  // namespace idcardreader::platform
