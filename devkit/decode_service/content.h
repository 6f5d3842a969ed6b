#pragma once

#include <string>

#include "card/card.h"

namespace devkit {

// "[-1,1,127]": bytes as the messages carry them, each taken as signed.
std::string ByteArrayText(ByteView bytes);

// {"type":"iden","idCard":{...}}: what the service knows about the card, in UTF-8.
std::string ContentText(const Card& card);

// zlib's format and base64, as the token dialect carries content.
Bytes Deflate(const std::string& text);
std::string Base64(ByteView bytes);

}  // namespace devkit
