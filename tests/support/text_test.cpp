#include "support/text.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/result_items.h"
#include "support/status_codes.h"

namespace idcardreader {
namespace {

TEST(Text, IsCutAtAWholeCharacter) {
  using enum TextEncoding;
  const struct {
    TextEncoding encoding;
    std::string text;
    std::vector<std::size_t> sizes;  // of what is left of it in 0, 1, 2... bytes
  } rows[] = {{utf8, Text("61 C3A9 E591A8 F09F9880 7A"), {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11}},
              // No character has more than three bytes behind its first.
              {utf8, Text("80 80 61 80808080"), {0, 1, 2, 2, 2, 2, 6, 7}},
              {gbk, Text("61 D6DC D1F9 7A"), {0, 1, 1, 3, 3, 5, 6}},
              // The second half of a character may be an ASCII letter; a last half is none.
              {gbk, Text("8141 42 FE"), {0, 0, 2, 3, 4}},
              {gbk, Text("FF 80 A1"), {0, 1, 2, 3}}};
  for (const auto& row : rows) {
    for (std::size_t longest = 0; longest < row.sizes.size(); ++longest) {
      const std::string_view cut = CutText(row.text, longest, row.encoding);
      EXPECT_EQ(cut.size(), row.sizes[longest]) << row.text << " " << longest;
    }
  }
}

TEST(Text, APairOfHexadecimalDigitsIsReadAsFarAsItGoes) {
  const std::pair<const char*, int> rows[] = {{"4F", 0x4F}, {"fa", 0xFA}, {"4x", 4}, {"x4", 0}};
  for (const auto& [text, value] : rows) EXPECT_EQ(HexPairValue(text[0], text[1]), value) << text;
}

// FNV-1a over all texts, a line feed behind each. The values expected were computed from the agreed
// tables by another program with a converter of its own, so a single wrong byte shows.
TEST(StatusCodes, HaveTheAgreedTextsInGbk) {
  const auto digest = [](int first, int last, auto textOf) {
    std::uint32_t value = 2166136261;
    for (int number = first; number <= last; ++number) {
      for (const char byte : std::string(textOf(number)) + '\n') {
        value = (value ^ static_cast<std::uint8_t>(byte)) * 16777619;
      }
    }
    return value;
  };
  EXPECT_EQ(digest(0, 56, StatusText), 0x62173C57U);
  const auto labelOf = [](int item) { return ItemLabel(static_cast<ResultItem>(item)); };
  EXPECT_EQ(digest(1, 54, labelOf), 0x56705593U);
  for (const std::int32_t invalid : {57, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(StatusText(invalid), StatusText(0)) << invalid;
  }
}

}  // namespace
}  // namespace idcardreader
