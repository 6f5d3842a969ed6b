#pragma once

#include <string>

#include "base/bytes.h"

namespace devkit {

// "[-1,1,127]": bytes as the messages carry them, each taken as signed.
std::string ByteArrayText(ByteView bytes);

// zlib's format and base64, as the token dialect carries content.
Bytes Deflate(const std::string& text);
std::string Base64(ByteView bytes);

}  // namespace devkit
