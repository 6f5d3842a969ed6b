#include "support/utf8.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace idcardreader {
namespace {

TEST(Utf8, IsValidInItsShortestFormsAlone) {
  for (const char* valid : {"", "00417F", "C280DFBF", "E0A080ED9FBFEE8080EFBFBF",
                            "F0908080F48FBFBF", "E8BAABE4BBBDE8AF81"}) {
    EXPECT_TRUE(IsValidUtf8(Text(valid))) << valid;
  }
  for (const char* other :
       {"80", "BF41", "C0AF", "C1BF", "C2", "C241", "C2C0", "E09FBF", "E0A0", "E0A041", "EDA080",
        "EDBFBF", "F08FBFBF", "F0908041", "F09080", "F4908080", "F5808080", "FF", "41BEDCBEF8"}) {
    EXPECT_FALSE(IsValidUtf8(Text(other))) << other;
  }
}

}  // namespace
}  // namespace idcardreader
