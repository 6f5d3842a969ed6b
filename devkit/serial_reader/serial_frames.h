#pragma once

#include <optional>

#include "base/bytes.h"
#include "reader_model/reader_model.h"

namespace devkit {

// Finds the requests in what a serial line carries. There are no marks around them: each begins with
// its command, which tells its length.
class SerialFrames {
 public:
  // The request that this byte completes, if it does. A request that stopped half way is forgotten
  // when the line was silent for a while, as a real reader forgets it.
  std::optional<Bytes> Feed(std::uint8_t byte, Moment now);

  static constexpr std::chrono::milliseconds kSilence{50};

 private:
  Bytes frame;
  Moment lastByte{};
};

}  // namespace devkit
