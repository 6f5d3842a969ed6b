#pragma once

#include <cstdint>
#include <string>

#include "support/card_block.h"
#include "support/read_generation.h"

namespace idcardreader {

// One exchange that the read thread asks the link for, with its own copy of the bytes it is about.
struct LinkCommand {
  ReadGeneration generation;
  std::int32_t item;
  std::string text;
  Block block;
};

}  // namespace idcardreader
