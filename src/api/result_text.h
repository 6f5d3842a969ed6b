#pragma once

#include <string_view>

namespace idcardreader {

// Puts a text where every text that an export returns stands, and returns the place. It stays the
// same place as long as the texts have no more than 64 KB, so that a pointer handed out earlier
// shows the newest text.
const char* SetResultText(std::string_view text);

// When the library is unloaded.
void ReleaseResultText();

}  // namespace idcardreader
