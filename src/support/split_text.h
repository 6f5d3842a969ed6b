#pragma once

#include <string_view>
#include <vector>

namespace idcardreader {

// The pieces between the separators; always one more than there are separators.
std::vector<std::string_view> SplitText(std::string_view text, char separator);

}  // namespace idcardreader
