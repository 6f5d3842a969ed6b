#pragma once

#include <atomic>

#include "platform/clock.h"
#include "reader/card_reader.h"
#include "support/logs.h"

namespace idcardreader {

// The automatic card search: switches the reader's own search on once, then asks, second by second,
// whether it has reported a card. Runs on the caller's thread; the flags may be asked for and
// cleared from any other.
class AutoSearch {
 public:
  // What the search needs of the engine around it.
  class Host {
   public:
    virtual ~Host() = default;
    // Opens the reader; raises the code of a failure.
    virtual bool PrepareSearch() = 0;
    virtual void RaiseSearchFailure(const ReaderOutcome& outcome) = 0;
    // Then the reader is not to be spoken to any more.
    virtual bool ReadHasBegun() = 0;
  };

  AutoSearch(CardReader& reader, Host& host, ActivityLog& log, platform::Clock& clock);

  // True when a card has been reported.
  bool FindCard();
  // False also when the reader was lost or closed since.
  bool On();
  void Stop() { cardReader_AutoOn = false; }
  void Reset();

 private:
  bool SwitchOn();
  void AwaitNotification();

  CardReader& reader;
  Host& host;
  ActivityLog& log;
  platform::Clock& clock;
  const AbandonTest readHasBegun;
  std::atomic<bool> cardReader_AutoOn = false;
  std::atomic<bool> switchingOn = false;
  std::atomic<bool> cardFoundByAutoSearch = false;
  // A card was reported while the search was being switched on.
  std::atomic<bool> notifiedEarly = false;
};

}  // namespace idcardreader
