#include "read_command.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "block_files.h"
#include "card_record.h"
#include "failure.h"
#include "print_card.h"

namespace readcard {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class ReadCommand {
 public:
  ReadCommand(const HostLibrary& ofHost, const Options& given, Console& shared)
      : library(ofHost), options(given), console(shared) {}

  int Run() {
    for (unsigned number = 1; number <= options.repeat; ++number) ReadOnce(number);
    if (options.repeat > 1) PrintSummary();
    return durations.size() == options.repeat && filesWritten ? kAllRead : kReadFailed;
  }

 private:
  void ReadOnce(unsigned number) {
    const steady_clock::time_point begin = steady_clock::now();
    const bool read = library.readCardStart(0) != 0;
    const auto duration = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
    if (read) {
      durations.push_back(duration);
      HandOut(FetchCardRecord(library), number, duration);
    } else {
      Report(FetchFailure(library), number, duration);
    }
  }

  void HandOut(const CardRecord& card, unsigned number, milliseconds duration) {
    if (options.json) {
      console.Print(CardJson(card, duration));
    } else if (options.repeat == 1) {
      console.Print(CardText(card));
    } else {
      console.Print(std::to_string(number) + ": " + CardLine(card, duration));
    }
    std::string complaint;
    if (!options.filesFolder.empty() && !WriteBlockFiles(options.filesFolder, card, complaint)) {
      filesWritten = false;
      console.Complain(complaint);
    }
  }

  void Report(const Failure& failure, unsigned number, milliseconds duration) {
    if (options.json) {
      console.Print(FailureJson(failure, duration));
    } else {
      if (options.repeat > 1) console.Complain(std::to_string(number) + ": ");
      console.Complain(FailureText(failure));
    }
  }

  // Beside JSON documents it goes to the error output.
  void PrintSummary() {
    std::string summary = std::to_string(options.repeat) +
                          " reads: " + std::to_string(durations.size()) + " succeeded, " +
                          std::to_string(options.repeat - durations.size()) + " failed";
    if (!durations.empty()) {
      std::sort(durations.begin(), durations.end());
      summary += "; fastest " + std::to_string(durations.front().count()) + " ms, median " +
                 std::to_string(durations[durations.size() / 2].count()) + " ms, slowest " +
                 std::to_string(durations.back().count()) + " ms";
    }
    summary += "\n";
    if (options.json) {
      console.Complain(summary);
    } else {
      console.Print(summary);
    }
  }

  const HostLibrary& library;
  const Options& options;
  Console& console;
  std::vector<milliseconds> durations;  // of the reads that succeeded
  bool filesWritten = true;
};

}  // namespace

int RunReadCommand(const HostLibrary& library, const Options& options, Console& console) {
  return ReadCommand(library, options, console).Run();
}

}  // namespace readcard
