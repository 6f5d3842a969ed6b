#pragma once

#include <cstdint>
#include <string>

#include "service/card_blocks.h"

namespace idcardreader {

// The number of a read. What belongs to another read than the current one is dropped wherever it
// turns up, so that no card's data can reach another card's record.
using ReadGeneration = std::uint64_t;
inline constexpr ReadGeneration kNoRead = 0;

// One exchange that the read thread asks the link for, with its own copy of the bytes it is about.
struct LinkCommand {
  ReadGeneration generation;
  std::int32_t item;
  std::string text;
  Block block;
};

}  // namespace idcardreader
