#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace idcardreader {

struct InflateResult {
  int status;  // of zlib; Z_STREAM_END (1) alone means that all is there
  std::string output;

  bool Complete() const;
};

// Inflates zlib data into at most 20 times its length.
InflateResult Inflate(const std::vector<std::uint8_t>& compressed);

}  // namespace idcardreader
