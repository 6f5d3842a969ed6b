#pragma once

#include <chrono>
#include <optional>

#include "card_record.h"
#include "console.h"
#include "failure.h"
#include "options.h"

namespace readcard {

// Where the result of a read goes, as the options say: text or JSON, and files.
class CardOutput {
 public:
  CardOutput(const Options& given, Console& shared) : options(given), console(shared) {}

  void HandOut(const CardRecord& card, std::chrono::milliseconds duration);
  // One of many reads in a row; numbers count from 1.
  void HandOut(const CardRecord& card, unsigned number, std::chrono::milliseconds duration);
  void Report(const Failure& failure, std::chrono::milliseconds duration);
  void Report(const Failure& failure, unsigned number, std::chrono::milliseconds duration);

  bool AllFilesWritten() const { return filesWritten; }

 private:
  void WriteFiles(const CardRecord& card);

  const Options& options;
  Console& console;
  bool filesWritten = true;
};

// For people or for programs, as the options say.
void ReportFailure(const Failure& failure, const Options& options, Console& console,
                   std::optional<std::chrono::milliseconds> duration = std::nullopt);

}  // namespace readcard
