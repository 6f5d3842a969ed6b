#pragma once

#include <cstdint>

#include "support/card_block.h"

namespace idcardreader {

// The plain blocks of a card as the service expects them, made from what the reader answered. A
// shorter input stands for zeros behind it.

// 42 bytes, from the reader's 64-byte answer to the DN command.
Block DnBlock(BlockView readerAnswer);
// 26 bytes, from the reader's 64-byte answer to the input key.
Block OutputKeyBlock(BlockView readerAnswer);

// Two marker bytes and the file's bytes.
Block SectorBlock(CardFile file, BlockView fileBytes);

// A card without fingerprints has zeros at the start of the area.
bool HasFingerprint(BlockView fingerprintArea);

// The 8 key bytes in a deciphered key block of the service; empty when the block is too short or
// another one than expected (marker 0xA2 input key, 0xA3 output key).
Block KeyOfBlock(BlockView keyBlock, std::uint8_t marker);

}  // namespace idcardreader
