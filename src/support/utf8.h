#pragma once

#include <string_view>

namespace idcardreader {

// Strictly: no overlong forms, no surrogates, nothing above U+10FFFF, nothing cut off.
bool IsValidUtf8(std::string_view text);

}  // namespace idcardreader
