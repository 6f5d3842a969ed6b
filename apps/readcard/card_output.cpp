#include "card_output.h"

#include <string>

#include "block_files.h"
#include "print_card.h"

namespace readcard {

using std::chrono::milliseconds;

void ReportFailure(const Failure& failure, const Options& options, Console& console,
                   std::optional<milliseconds> duration) {
  if (options.json) {
    console.Print(FailureJson(failure, duration));
  } else {
    console.Complain(FailureText(failure));
  }
}

void CardOutput::HandOut(const CardRecord& card, milliseconds duration) {
  console.Print(options.json ? CardJson(card, duration, options.blocks) : CardText(card));
  WriteFiles(card);
}

void CardOutput::HandOut(const CardRecord& card, unsigned number, milliseconds duration) {
  console.Print(options.json ? CardJson(card, duration, options.blocks)
                             : std::to_string(number) + ": " + CardLine(card, duration));
  WriteFiles(card);
}

void CardOutput::Report(const Failure& failure, milliseconds duration) {
  ReportFailure(failure, options, console, duration);
}

void CardOutput::Report(const Failure& failure, unsigned number, milliseconds duration) {
  if (!options.json) console.Complain(std::to_string(number) + ": ");
  Report(failure, duration);
}

void CardOutput::WriteFiles(const CardRecord& card) {
  std::string complaint;
  if (options.filesFolder.empty() || WriteBlockFiles(options.filesFolder, card, complaint)) return;
  filesWritten = false;
  console.Complain(complaint);
}

}  // namespace readcard
