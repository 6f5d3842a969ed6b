#include "support/status_codes.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"

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
  EXPECT_EQ(StatusText(1), Text("D5FDB3A3"));
  EXPECT_EQ(StatusText(38), Text("B6C1BFA8284352435F41B2BBC6A5C5E429"));
  EXPECT_EQ(StatusText(56), "ERRORT_End");
  for (const std::int32_t invalid : {0, 57, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(StatusText(invalid), Text("B4EDCEF3B4FAC2EBCEDED0A7")) << invalid;
  }
}

TEST(ItemLabels, AreTheAgreedTextsOfTheItems1To54) {
  EXPECT_EQ(Digest(1, 54, ItemLabel), 0x56705593U);
  EXPECT_EQ(ItemLabel(21), Text("B3ACCAB1CAB1BCE4A3A8B5A5CEBBA3BABAC1C3EBA3A9"));
  for (const std::int32_t other : {0, 55, -1, INT32_MIN}) EXPECT_EQ(ItemLabel(other), "") << other;
}

TEST(DeviceStatus, HasTheWordsOfItsCodeAndABlankOfItsOwn) {
  EXPECT_EQ(DeviceStatusText(0), "");
  EXPECT_EQ(DeviceStatusText(7), Text("4352435F4120B2BBC6A5C5E4"));
  for (const int status : {1, 2, 3, 4, 5, 6, 8, 9, 255}) {
    const std::string ofCode(StatusText(ERRORT_ReaderStatus + (status > 8 ? 0 : status)));
    EXPECT_EQ(DeviceStatusText(static_cast<std::uint8_t>(status)),
              ofCode.substr(5, ofCode.size() - 6));
  }
}

}  // namespace
}  // namespace idcardreader
