#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/card_blocks.h"

namespace idcardreader {

// Where an exchange with the service puts what came of it. Whatever belongs to a read that is over
// by then is dropped behind this door.
class ExchangeSink {
 public:
  virtual ~ExchangeSink() = default;

  virtual bool Tracing() const = 0;
  virtual void Trace(std::string_view text) = 0;
  // A key for the reader; item 6 or 7 names it.
  virtual void FileKey(std::int32_t item, const Block& key) = 0;
  // A whole card, in one step, so that nobody sees half of it.
  virtual void FileContent(const std::vector<std::pair<std::int32_t, std::string>>& entries) = 0;
  virtual void FileDone() = 0;
  // Ends the read with a status code. detail follows the code's text in the error log; answer, when
  // there is one, is the service's text that was refused, and gets a line of its own.
  virtual void ReportFailure(std::int32_t code, std::string_view detail,
                             std::string_view answer) = 0;
};

}  // namespace idcardreader
