#pragma once

#include <functional>

#include "reader/reader_outcome.h"
#include "reader/reader_report.h"
#include "support/card_read.h"

namespace idcardreader {

// Asked whether an operation has become pointless.
using AbandonTest = std::function<bool()>;

// How commands and answers travel between us and an open reader. The answer buffer keeps what it
// held where nothing new came.
class ReaderLine {
 public:
  virtual ~ReaderLine() = default;

  virtual bool IsOpen() const = 0;
  virtual void Close() = 0;

  // One command and its answer, without a look at the status byte.
  virtual ReaderOutcome Exchange(const ReaderRequest& request, Report& answer,
                                 std::uint32_t timeoutMs, const AbandonTest& abandoned) = 0;
  // A command whose answer is a stream of this many bytes.
  virtual ReaderOutcome Stream(const ReaderRequest& request, Report& answer, std::size_t length,
                               Block& bytes, const AbandonTest& abandoned) = 0;
  // A command whose answer nobody looks at.
  virtual ReaderOutcome Send(const ReaderRequest& request, Report& answer,
                             std::uint32_t timeoutMs) = 0;

  // The halves of an exchange with a reader that also reports by itself. received is 0 when nothing
  // came in the time; a line that cannot tell silence from failure fails without a code.
  virtual ReaderOutcome Begin(const ReaderRequest& request) = 0;
  virtual ReaderOutcome Await(Report& answer, std::uint32_t timeoutMs, std::size_t& received) = 0;
  // How long an answer to a search command may take on this line.
  virtual std::uint32_t SearchTimeout(std::uint32_t usualMs) const = 0;
  // Whether the reader tells of a card that it has found.
  virtual bool TellsOfCards() const = 0;

  // Throws away what an earlier exchange left on its way. A late answer must never be taken for
  // that of the next card.
  virtual void DropReports() = 0;

  // What is on its way from now on may belong to nobody's command.
  bool staleReports = false;
};

}  // namespace idcardreader
