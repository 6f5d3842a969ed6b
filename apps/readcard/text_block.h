#pragma once

#include <cstdint>
#include <vector>

#include "card_record.h"

namespace readcard {

// The fields of the standard interface's text block (the layout stands in the public header); none
// when there is no block.
std::vector<CardField> TextBlockFields(const std::vector<std::uint8_t>& block);

}  // namespace readcard
