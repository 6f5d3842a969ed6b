#include "support/status_codes.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"

namespace idcardreader {
namespace {

struct TextCase {
  std::int32_t number;
  const char* gbk;
};

// The bytes come from another converter.
TEST(StatusCodes, HaveTextsInGbk) {
  constexpr char kInvalid[] = "B4EDCEF3B4FAC2EBCEDED0A7";
  const TextCase kCases[] = {
      {0, kInvalid},
      {1, "D5FDB3A3"},
      {38, "B6C1BFA8284352435F41B2BBC6A5C5E429"},
      {56, "4552524F52545F456E64"},
      {57, kInvalid},
      {-1, kInvalid},
      {INT32_MAX, kInvalid},
      {INT32_MIN, kInvalid},
  };
  for (const TextCase& row : kCases) {
    EXPECT_EQ(StatusText(row.number), Text(row.gbk)) << row.number;
  }
}

TEST(ItemLabels, StandForTheItems1To54) {
  const TextCase kCases[] = {
      {3, "B3F5CABCBBAFBDE2C2EBCDA8B5C0A3ACB7A2CBCDD0C4CCF8D6B8C1EE"},
      {21, "B3ACCAB1CAB1BCE4A3A8B5A5CEBBA3BABAC1C3EBA3A9"},
      {17, "D4A4C1F431"},
      {46, "D4A4C1F431"},
      {26, "444E5331"},
      {0, ""},
      {55, ""},
      {-1, ""},
      {INT32_MIN, ""},
  };
  for (const TextCase& row : kCases) {
    EXPECT_EQ(ItemLabel(row.number), Text(row.gbk)) << row.number;
  }
}

// FNV-1a over all texts of a table, a line feed behind each. The values were computed from the
// agreed tables by another program, so a single wrong character shows.
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

TEST(StatusCodes, HaveTheAgreedTexts) { EXPECT_EQ(Digest(0, 56, StatusText), 0x62173C57U); }

TEST(ItemLabels, AreTheAgreedTexts) { EXPECT_EQ(Digest(1, 54, ItemLabel), 0x56705593U); }

TEST(DeviceStatus, HasWordsOfItsOwn) {
  constexpr char kUnknown[] = "CEB4D6AAB4EDCEF3";
  const TextCase kCases[] = {
      {0, ""},       {1, "CDA8D0C5B4EDCEF3"}, {7, "4352435F4120B2BBC6A5C5E4"},  // with a blank
      {9, kUnknown}, {255, kUnknown},
  };
  for (const TextCase& row : kCases) {
    EXPECT_EQ(DeviceStatusText(static_cast<std::uint8_t>(row.number)), Text(row.gbk)) << row.number;
  }
  for (std::uint8_t status = 2; status <= 8; ++status) {
    // But for status 7 the words are those of the status code, in its parentheses.
    const std::string ofCode(StatusText(ERRORT_ReaderStatus + status));
    const std::string expected =
        status == 7 ? Text(kCases[2].gbk) : ofCode.substr(5, ofCode.size() - 6);
    EXPECT_EQ(DeviceStatusText(status), expected) << int{status};
  }
}

}  // namespace
}  // namespace idcardreader
