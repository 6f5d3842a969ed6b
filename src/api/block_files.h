#pragma once

#include <cstdint>

#include "api/card_block_buffers.h"

namespace idcardreader {

// Writes a block that is held and not empty to a file, its bytes and nothing else, and stores its
// length when there is a place for it. A file that cannot be opened is passed over, as hosts of
// these interfaces expect. False when there is no block.
bool WriteBlockFile(CardBlock block, const char* fileName, std::uint32_t* length);

}  // namespace idcardreader
