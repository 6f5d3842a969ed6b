#pragma once

#include <cstdint>

#include "api/card_block_buffers.h"

namespace idcardreader {

// Writes a block that is held and not empty to a file, its bytes and nothing else, and stores its
// length when there is a place for it. True when the whole block is in the file.
bool WriteBlockFile(CardBlock block, const char* fileName, std::uint32_t* length);

// The same; without a block to be written the file is removed, since what it holds is another
// card's.
bool ReplaceBlockFile(CardBlock block, const char* fileName);

}  // namespace idcardreader
