#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "content/text_block.h"

namespace idcardreader {

inline constexpr std::size_t kPhotoBlockSize = 1024;

// The blocks that a card's answer carries as decimal arrays; an empty vector is a block that is not
// there.
struct CardBlocks {
  std::vector<std::uint8_t> text;
  std::vector<std::uint8_t> photo;
  std::vector<std::uint8_t> fingerprint;
};

// The photo from the "image" array: its first 1024 bytes, if it has more than that many elements.
std::vector<std::uint8_t> ReadPhotoBlock(std::string_view text);

// The blocks of a raw frame in the "data" array; the photo comes from "image" when the frame has
// none.
CardBlocks ReadRawFrame(std::string_view text);

}  // namespace idcardreader
