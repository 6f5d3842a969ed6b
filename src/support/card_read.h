#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace idcardreader {

// The number of a read. What belongs to another read than the current one is dropped wherever it
// turns up, so that no card's data can reach another card's record.
using ReadGeneration = std::uint64_t;
inline constexpr ReadGeneration kNoRead = 0;

// Of a card, or a key.
using Block = std::vector<std::uint8_t>;
using BlockView = std::span<const std::uint8_t>;

inline constexpr std::size_t kKeySize = 8;

struct CardFile {
  std::uint8_t id;
  std::uint16_t length;
};
inline constexpr CardFile kFile11{0x11, 214};
inline constexpr CardFile kFile12{0x12, 256};
inline constexpr CardFile kFile13{0x13, 1024};
inline constexpr CardFile kFile21{0x21, 1024};  // the fingerprint area

}  // namespace idcardreader
