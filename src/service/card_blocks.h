#pragma once

#include <cstdint>
#include <span>

#include "support/wiped_bytes.h"

namespace idcardreader {

// Of a card, or a key.
using Block = WipedBytes;
using BlockView = std::span<const std::uint8_t>;

// The plain blocks of a card as the service expects them, made from what the reader answered. A
// shorter input stands for zeros behind it.

// 42 bytes, from the reader's 64-byte answer to the DN command.
Block DnBlock(BlockView readerAnswer);
// 26 bytes, from the reader's 64-byte answer to the input key.
Block OutputKeyBlock(BlockView readerAnswer);

struct CardFile {
  std::uint8_t id;
  std::uint16_t length;
};
inline constexpr CardFile kFile11{0x11, 214};
inline constexpr CardFile kFile12{0x12, 256};
inline constexpr CardFile kFile13{0x13, 1024};
inline constexpr CardFile kFile21{0x21, 1024};  // the fingerprint area

// Two marker bytes and the file's bytes.
Block SectorBlock(CardFile file, BlockView fileBytes);

// A card without fingerprints has zeros at the start of the area.
bool HasFingerprint(BlockView fingerprintArea);

inline constexpr std::size_t kKeySize = 8;

// The 8 key bytes in a deciphered key block of the service; empty when the block is too short or
// another one than expected (marker 0xA2 input key, 0xA3 output key).
Block KeyOfBlock(BlockView keyBlock, std::uint8_t marker);

}  // namespace idcardreader
