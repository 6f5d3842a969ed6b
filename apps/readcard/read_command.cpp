#include "read_command.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "card_output.h"
#include "failure.h"
#include "read_interface.h"

namespace readcard {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class ReadCommand {
 public:
  ReadCommand(const HostLibrary& ofHost, const Options& given, Console& shared)
      : library(ofHost),
        readInterface(FindReadInterface(given.readInterface)),
        options(given),
        console(shared),
        output(given, shared) {}

  int Run() {
    for (unsigned number = 1; number <= options.repeat; ++number) ReadOnce(number);
    if (options.repeat > 1) PrintSummary();
    return durations.size() == options.repeat && output.AllFilesWritten() ? kAllRead : kReadFailed;
  }

 private:
  void ReadOnce(unsigned number) {
    const steady_clock::time_point begin = steady_clock::now();
    const bool read = readInterface.read(library);
    const auto duration = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
    if (read) {
      durations.push_back(duration);
      const CardRecord card = readInterface.fetch(library);
      if (options.repeat == 1) {
        output.HandOut(card, duration);
      } else {
        output.HandOut(card, number, duration);
      }
    } else if (options.repeat == 1) {
      output.Report(FetchFailure(library), duration);
    } else {
      output.Report(FetchFailure(library), number, duration);
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
  const ReadInterface& readInterface;
  const Options& options;
  Console& console;
  CardOutput output;
  std::vector<milliseconds> durations;  // of the reads that succeeded
};

}  // namespace

int RunReadCommand(const HostLibrary& library, const Options& options, Console& console) {
  return ReadCommand(library, options, console).Run();
}

}  // namespace readcard
