#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace idcardreader {

// The bytes of base64 text (standard alphabet, "=" at the end, white space skipped). Empty for a
// text with any other character in it.
std::vector<std::uint8_t> DecodeBase64(std::string_view text);

}  // namespace idcardreader
