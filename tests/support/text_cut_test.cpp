#include "support/text_cut.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace idcardreader {
namespace {

TEST(CutText, EndsAtAWholeCharacter) {
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
    ASSERT_EQ(row.sizes.size(), row.text.size() + 1);
    for (std::size_t longest = 0; longest < row.sizes.size(); ++longest) {
      const std::string_view cut = CutText(row.text, longest, row.encoding);
      EXPECT_EQ(cut.size(), row.sizes[longest]) << row.text << " " << longest;
      EXPECT_EQ(cut.data(), row.text.data());
    }
  }
}

}  // namespace
}  // namespace idcardreader
