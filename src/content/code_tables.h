#pragma once

#include <string_view>

namespace idcardreader {

// The code of a sex or nation name (UTF-8) in the text block: one and two digits. Empty for a name
// that is in no table.
std::string_view SexCode(std::string_view name);
std::string_view NationCode(std::string_view name);

}  // namespace idcardreader
