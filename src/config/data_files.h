#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace idcardreader {

// The key of the fields in the data files.
inline constexpr std::string_view kDataFileKey = "QJXTWMBRK";

// The plain text of a field (hexadecimal pairs) scrambled with this key, or with the short default
// key when it is empty. Empty for less than one pair; a last odd digit is left out.
std::string DescrambleField(std::string_view hexText, std::string_view key);

// The values in the text of a data file, in the order of its lines. A line is a label, a tab and
// the scrambled field; the field is a name, "=" and the value. Lines without a tab or without "="
// have no value, and empty values are left out.
std::vector<std::string> DataFileValues(std::string_view fileText);

}  // namespace idcardreader
