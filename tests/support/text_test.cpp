#include "support/text.h"

#include <gtest/gtest.h>

#include "support/result_items.h"
#include "support/status_codes.h"

namespace idcardreader {
namespace {

TEST(Text, IsCutAtAWholeCharacter) {
  const struct {
    TextEncoding encoding;
    std::string text;
    std::vector<std::size_t> sizes;  // of what is left of it in 0, 1, 2... bytes
  } rows[] = {{TextEncoding::utf8,
               "a\xC3\xA9\xE5\x91\xA8\xF0\x9F\x98\x80z",
               {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11}},
              // No character has more than three bytes behind its first.
              {TextEncoding::utf8,
               "\x80\x80"
               "a\x80\x80\x80\x80",
               {0, 1, 2, 2, 2, 2, 6, 7}},
              {TextEncoding::gbk, "a\xD6\xDC\xD1\xF9z", {0, 1, 1, 3, 3, 5, 6}},
              // The second half of a character may be an ASCII letter; a last half is none.
              {TextEncoding::gbk, "\x81\x41\x42\xFE", {0, 0, 2, 3, 4}},
              {TextEncoding::gbk, "\xFF\x80\xA1", {0, 1, 2, 3}}};
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

// FNV-1a over all texts of a table, a line feed behind each. The values expected were computed from
// the agreed tables by another program with a converter of its own, so a single wrong byte shows.
TEST(StatusCodes, HaveTheAgreedTextsInGbk) {
  std::uint32_t digest = 0;
  const auto add = [&digest](std::string_view text) {
    for (const char byte : std::string(text) + '\n') {
      digest = (digest ^ static_cast<std::uint8_t>(byte)) * 16777619;
    }
  };
  digest = 2166136261;
  for (std::int32_t code = 0; code <= 56; ++code) add(StatusText(code));
  EXPECT_EQ(digest, 0x62173C57U);
  digest = 2166136261;
  for (int item = 1; item <= 54; ++item) add(ItemLabel(static_cast<ResultItem>(item)));
  EXPECT_EQ(digest, 0x56705593U);
  for (const std::int32_t invalid : {57, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(StatusText(invalid), StatusText(0)) << invalid;
  }
}

}  // namespace
}  // namespace idcardreader
