#pragma once

#include <cstdint>

namespace idcardreader {

// The number of a read. What belongs to another read than the current one is dropped wherever it
// turns up, so that no card's data can reach another card's record.
using ReadGeneration = std::uint64_t;
inline constexpr ReadGeneration kNoRead = 0;

}  // namespace idcardreader
