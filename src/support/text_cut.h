#pragma once

#include <cstddef>
#include <string_view>

namespace idcardreader {

enum class TextEncoding { gbk, utf8 };

// What of a text fits into so many bytes, without the half of a character at its end. Malformed text
// is cut as well.
std::string_view CutText(std::string_view text, std::size_t longest, TextEncoding encoding);

}  // namespace idcardreader
