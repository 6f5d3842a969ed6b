#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace idcardreader {

// The plain text of a scrambled field (hexadecimal pairs). Empty for less than one pair; a last odd
// digit is left out.
std::string DescrambleField(std::string_view hexText);

// The values in the text of a data file, in the order of its lines. A line is a label, a tab and
// the scrambled field; the field is a name, "=" and the value. Lines without a tab or without "="
// have no value, and empty values are left out.
std::vector<std::string> DataFileValues(std::string_view fileText);

}  // namespace idcardreader
