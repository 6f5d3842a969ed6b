#pragma once

#include <functional>

#include "reader/reader_outcome.h"
#include "reader/reader_report.h"
#include "support/card_block.h"

namespace idcardreader {

using AbandonTest = std::function<bool()>;

// How commands and answers travel between us and an open reader. The answer buffer keeps what it
// held where nothing new came.
class ReaderLine {
 public:
  virtual ~ReaderLine() = default;

  // One command and its answer, without a look at the status byte. serialLength is the command's
  // length on a line that has no reports.
  virtual ReaderOutcome Exchange(const Report& request, Report& answer, std::uint32_t timeoutMs,
                                 std::size_t serialLength) = 0;
  // A command whose answer nobody looks at.
  virtual ReaderOutcome Send(const Report& request, Report& answer, std::uint32_t timeoutMs,
                             std::size_t serialLength) = 0;
  // A command whose answer is a stream of this many bytes. The test is asked before each wait.
  virtual ReaderOutcome Stream(const Report& request, Report& answer, std::size_t length,
                               Block& bytes, const AbandonTest& abandoned) = 0;
  // The next report of a reader that searches by itself: bytes received, 0 when none came within
  // the time-out, negative on failure. Gets the report into the answer buffer.
  virtual int ReadReport(Report& answer, std::uint32_t timeoutMs) = 0;
  // Sends a command whose answer is then fetched with ReadReport.
  virtual bool WriteCommand(const Report& request, std::size_t serialLength) = 0;
  // How long the answer to a search command may take on this line.
  virtual std::uint32_t SearchAnswerTimeout(std::uint32_t hidTimeoutMs) const = 0;
  // The status code of a line that fails under a command.
  virtual std::int32_t FailureCode() const = 0;
  virtual bool Open() const = 0;
  virtual void Close() = 0;
  // Throws away what an earlier exchange left on its way, if one did. A late answer must never be
  // taken for that of the next card.
  virtual void DropStaleReports() = 0;
  // What is on its way from now on may belong to nobody's command.
  virtual void ExpectStaleReports() = 0;
};

}  // namespace idcardreader
