#include "engine/reader_engine.h"
#include "support/text.h"

// The part of the engine that looks for a card: it switches the reader's own search on once, then
// asks, second by second, whether that has reported a card. Runs on the caller's thread; another may
// switch the search off meanwhile.

namespace idcardreader {
namespace {

constexpr int kLargestAttemptCount = 5;
constexpr std::uint32_t kAttemptPauseMs = 5;

const GbkText kRestart("Auto Find：restart search id card...\n");
const GbkText kSearching("Auto Find：searching...\n");
const GbkText kFound("Auto Find：ID CARD\n");
const GbkText kDeviceError("Auto Find：hid device error\n");

}  // namespace

// Not any more when the reader was lost or closed since.
bool ReaderEngine::SearchIsOn() {
  return cardReader_AutoOn && (switchingSearchOn || reader.SearchIsOn());
}

bool ReaderEngine::SearchOnce() {
  bool found = false;
  if (SearchIsOn() || SwitchSearchOn(found)) {
    log.Log(kRestart);
    log.Log(kSearching);
    const ReaderOutcome outcome = reader.idReader_FindCard(found, ReadBegun());
    Succeeded(outcome);
    if (found || !outcome.Done()) {
      cardReader_AutoOn = false;
      log.Log(found ? std::string_view(kFound) : kDeviceError);
    }
  }
  log.Log("cardReader_AutoOn   END");
  return found;
}

// False when the search is not on afterwards: it failed, or was stopped meanwhile.
bool ReaderEngine::SwitchSearchOn(bool& found) {
  log.Log("cardReader_AutoOn   ******");
  switchingSearchOn = true;
  cardReader_AutoOn = true;
  reader.ForgetCardKind();
  ReaderOutcome outcome = ReaderOutcome::Failed(ERRORT_None);
  bool notified = false;
  if (PrepareSearch()) {
    for (int attempt = 0;
         attempt < kLargestAttemptCount && cardReader_AutoOn && !outcome.Done() && !notified;
         ++attempt) {
      if (attempt > 0) {
        clock.Sleep(kAttemptPauseMs);
      }
      outcome = reader.openAutoFindCard(notified, ReadBegun());
      Succeeded(outcome);
      if (outcome.code != ERRORT_None) {
        break;
      }
    }
  }
  const bool accepted = outcome.Done() || notified;
  log.Log(accepted ? "cardReader_AutoOn   TRUE" : "cardReader_AutoOn   FALSE");
  if (!accepted) {
    cardReader_AutoOn = false;
  }
  switchingSearchOn = false;
  found = notified && cardReader_AutoOn;
  return cardReader_AutoOn;
}

}  // namespace idcardreader
