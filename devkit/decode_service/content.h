#pragma once

#include <string>

#include "card/card.h"

namespace devkit {

// {"type":"iden","idCard":{...}}: what the service knows about the card, in UTF-8.
std::string ContentText(const Card& card);

}  // namespace devkit
