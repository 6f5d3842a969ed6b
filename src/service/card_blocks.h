#pragma once

#include <cstdint>
#include <string_view>

#include "support/card_read.h"

namespace idcardreader {

// The blocks of a card as the service expects them, made from what the reader answered, and those
// that the service sends for the reader. A shorter input stands for zeros behind it.

// 42 bytes, from the reader's 64-byte answer to the DN command.
Block DnBlock(BlockView readerAnswer);
// 26 bytes, from the reader's 64-byte answer to the input key.
Block OutputKeyBlock(BlockView readerAnswer);

// Two marker bytes and the file's bytes.
Block SectorBlock(CardFile file, BlockView fileBytes);

// A card without fingerprints has zeros at the start of the area.
bool HasFingerprint(BlockView fingerprintArea);

// A block as it goes to the service.
Block Enciphered(BlockView plainBlock);

// Which of the two keys for the reader, by number.
enum class KeyKind : std::int32_t { input = 6, output = 7 };

// The 8 key bytes in the block that is an answer's "data"; empty when there is none, or it is too
// short, or it carries another key than expected.
Block KeyInAnswer(std::string_view answer, KeyKind expected);

}  // namespace idcardreader
