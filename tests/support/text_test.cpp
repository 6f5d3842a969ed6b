#include "support/text.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace idcardreader {
namespace {

TEST(Text, IsValidUtf8InItsShortestFormsAlone) {
  for (const char* valid : {"", "00417F", "C280DFBF", "E0A080ED9FBFEE8080EFBFBF",
                            "F0908080F48FBFBF", "E8BAABE4BBBDE8AF81"}) {
    EXPECT_TRUE(IsValidUtf8(Text(valid))) << valid;
  }
  for (const char* other : {"80", "C0AF", "C2", "C241", "E09FBF", "E0A0", "EDA080", "F08FBFBF",
                            "F09080", "F4908080", "F5808080", "FF", "41BEDCBEF8"}) {
    EXPECT_FALSE(IsValidUtf8(Text(other))) << other;
  }
}

TEST(Text, IsCutAtAWholeCharacter) {
  const struct {
    TextEncoding encoding;
    std::string text;
    std::vector<std::size_t> sizes;  // of what is left of it in 0, 1, 2... bytes
  } rows[] = {{TextEncoding::utf8,
               "a\xC3\xA9\xE5\x91\xA8\xF0\x9F\x98\x80z",
               {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11}},
              {TextEncoding::utf8, "\x80\x80\x80\x80\x80\xE5", {0, 1, 2, 3, 4, 5, 6}},
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

}  // namespace
}  // namespace idcardreader
