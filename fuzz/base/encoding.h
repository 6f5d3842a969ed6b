#pragma once

#include <string>
#include <string_view>

namespace fuzz {

// The inverse of what the product decodes, so that the fuzzer gets past the decoding.
std::string Base64(std::string_view bytes);
std::string Deflated(std::string_view text);

}  // namespace fuzz
