#pragma once

#include <string>
#include <string_view>

namespace idcardreader {

// The key of the fields in the data files, and the one used where none is given.
inline constexpr std::string_view kDataFileKey = "QJXTWMBRK";
inline constexpr std::string_view kDefaultFieldKey = "kvb";

// The plain text of a scrambled field (hexadecimal pairs). Empty for less than one pair; a last odd
// digit is left out.
std::string DescrambleField(std::string_view hexText, std::string_view key);

}  // namespace idcardreader
