#pragma once

#include <cstdint>

#include "support/card_read.h"

namespace idcardreader {

// Where the codes of a read are raised.
class StatusSink {
 public:
  virtual ~StatusSink() = default;
  // Returns the generation that follows, kNoRead when the one given was over.
  virtual ReadGeneration SetError(std::int32_t code, ReadGeneration generation) = 0;
};

}  // namespace idcardreader
