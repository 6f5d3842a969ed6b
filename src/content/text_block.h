#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace idcardreader {

inline constexpr std::size_t kTextBlockSize = 256;
using TextBlock = std::array<std::uint8_t, kTextBlockSize>;

// The texts of a resident identity card as the service sends them (UTF-8).
struct ResidentTexts {
  std::string name;
  std::string sex;
  std::string nation;
  std::string birthday;
  std::string address;
  std::string idNumber;
  std::string issuingAuthority;
  std::string startDate;
  std::string endDate;
};

// The 256-byte text block of the standard reader interface: UTF-16LE at fixed offsets. Each field
// is written whole and in order, so that a long value is cut by the field behind it; sex and nation
// go in as codes, or as the first 2 and 4 characters of a text that has none.
TextBlock BuildTextBlock(const ResidentTexts& texts);

}  // namespace idcardreader
