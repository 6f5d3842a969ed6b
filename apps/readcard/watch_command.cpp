#include "watch_command.h"

#include <chrono>
#include <string>

#include "card_output.h"
#include "failure.h"
#include "interruption.h"
#include "uid_command.h"

namespace readcard {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kSearch = 1;
constexpr int kReaderOpened = 1;
constexpr int kNoCardCode = 40;
// Between attempts when the reader is not there, and between whole reads.
constexpr milliseconds kPause(300);

class WatchCommand {
 public:
  WatchCommand(const HostLibrary& ofHost, const Options& given, Console& shared)
      : library(ofHost), serial(!given.serialPort.empty()), output(given, shared) {}

  int Run() {
    const Interruption interruption([this] { library.readCardStop(); });
    while (!Interruption::Happened()) {
      if (serial) {
        PollOnce();
      } else {
        SearchOnce();
      }
    }
    return kAllRead;
  }

 private:
  // The reader tells of a card by itself. A card that stays may be told of again and is not read
  // again; it has gone when the reader finds no number.
  void SearchOnce() {
    const bool found = library.readCardStart(kSearch) != 0;
    if (Interruption::Happened()) return;
    if (!found && library.readCardGetDeviceStatus() != kReaderOpened) {
      present.clear();
      Complain(FetchFailure(library));
      Interruption::Pause(kPause);
      return;
    }
    complaint.clear();
    const std::string uid = found || !present.empty() ? FetchUid(library) : std::string();
    if (found && !uid.empty() && uid != present) {
      ReadCard();
    } else if (found) {
      // A card that stays is reported again at once, since its number was asked for.
      Interruption::Pause(kPause);
    }
    present = uid;
  }

  void ReadCard() {
    const steady_clock::time_point begin = steady_clock::now();
    if (library.readCardStart(0) != 0) {
      output.HandOut(FetchCardRecord(library), Since(begin));
    } else if (!Interruption::Happened()) {
      output.Report(FetchFailure(library), Since(begin));
    }
  }

  // A serial reader is asked by whole reads; the chip's number tells one card from the next.
  void PollOnce() {
    const steady_clock::time_point begin = steady_clock::now();
    if (library.readCardStart(0) != 0) {
      const CardRecord card = FetchCardRecord(library);
      if (card.dn != present) output.HandOut(card, Since(begin));
      present = card.dn;
      complaint.clear();
    } else if (!Interruption::Happened()) {
      present.clear();
      const Failure failure = FetchFailure(library);
      if (failure.code == kNoCardCode) {
        complaint.clear();
      } else {
        Complain(failure);
      }
    }
    Interruption::Pause(kPause);
  }

  // Once for as long as it stays the same.
  void Complain(const Failure& failure) {
    if (failure.text == complaint) return;
    complaint = failure.text;
    output.Report(failure, milliseconds(0));
  }

  static milliseconds Since(steady_clock::time_point begin) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin);
  }

  const HostLibrary& library;
  const bool serial;
  CardOutput output;
  std::string present;    // the number of the card that lies there, empty for none
  std::string complaint;  // that was made last and still holds
};

}  // namespace

int RunWatchCommand(const HostLibrary& library, const Options& options, Console& console) {
  return WatchCommand(library, options, console).Run();
}

}  // namespace readcard
