#include "support/status_codes.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"
#include "support/result_items.h"

namespace idcardreader {
namespace {

// FNV-1a over all texts of a table, a line feed behind each. The values expected were computed from
// the agreed tables by another program with a converter of its own, so a single wrong byte shows.
template <typename TextOf>
std::uint32_t Digest(std::int32_t first, std::int32_t last, TextOf textOf) {
  std::uint32_t digest = 2166136261;
  for (std::int32_t number = first; number <= last; ++number) {
    for (const char byte : std::string(textOf(number)) + '\n') {
      digest = (digest ^ static_cast<std::uint8_t>(byte)) * 16777619;
    }
  }
  return digest;
}

TEST(StatusCodes, HaveTheAgreedTextsInGbk) {
  EXPECT_EQ(Digest(0, 56, StatusText), 0x62173C57U);
  EXPECT_EQ(
      Digest(1, 54, [](std::int32_t number) { return ItemLabel(static_cast<ResultItem>(number)); }),
      0x56705593U);
  for (const std::int32_t invalid : {0, 57, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(StatusText(invalid), Text("B4EDCEF3B4FAC2EBCEDED0A7")) << invalid;
  }
}

}  // namespace
}  // namespace idcardreader
