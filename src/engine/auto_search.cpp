#include "engine/auto_search.h"

#include "support/text.h"

namespace idcardreader {
namespace {

constexpr int kLargestAttemptCount = 5;
constexpr std::uint32_t kAttemptPauseMs = 5;

const GbkText kRestart("Auto Find：restart search id card...\n");
const GbkText kSearching("Auto Find：searching...\n");
const GbkText kFound("Auto Find：ID CARD\n");
const GbkText kDeviceError("Auto Find：hid device error\n");

}  // namespace

AutoSearch::AutoSearch(CardReader& reader, Host& host, ActivityLog& log, platform::Clock& clock)
    : reader(reader), host(host), log(log), clock(clock), readHasBegun([&host] {
        return host.ReadHasBegun();
      }) {}

bool AutoSearch::On() { return cardReader_AutoOn && (switchingOn || reader.SearchIsOn()); }

bool AutoSearch::FindCard() {
  if (On() || SwitchOn()) {
    AwaitNotification();
  }
  log.Log("cardReader_AutoOn   END");
  return cardFoundByAutoSearch;
}

// False when the search is not on afterwards: it failed, or was stopped meanwhile.
bool AutoSearch::SwitchOn() {
  log.Log("cardReader_AutoOn   ******");
  switchingOn = true;
  cardReader_AutoOn = true;
  cardFoundByAutoSearch = false;
  notifiedEarly = false;
  reader.ForgetCardKind();
  bool accepted = false;
  if (host.PrepareSearch()) {
    for (int attempt = 0; attempt < kLargestAttemptCount && cardReader_AutoOn && !accepted;
         ++attempt) {
      if (attempt > 0) {
        clock.Sleep(kAttemptPauseMs);
      }
      bool notified = false;
      const ReaderOutcome outcome = reader.openAutoFindCard(notified, readHasBegun);
      host.RaiseSearchFailure(outcome);
      if (notified) {
        notifiedEarly = true;
      }
      accepted = outcome.Done() || notified;
      if (outcome.code != ERRORT_None) {
        break;
      }
    }
  }
  log.Log(accepted ? "cardReader_AutoOn   TRUE" : "cardReader_AutoOn   FALSE");
  if (!accepted) {
    cardFoundByAutoSearch = false;
    cardReader_AutoOn = false;
  }
  switchingOn = false;
  return cardReader_AutoOn;
}

void AutoSearch::AwaitNotification() {
  log.Log(kRestart);
  log.Log(kSearching);
  Answer report{};
  ReaderOutcome outcome;
  const std::int32_t result = reader.idReader_FindCard(report, outcome, readHasBegun);
  host.RaiseSearchFailure(outcome);
  const bool reported = result > 0 && reader.KeepNotification(report);
  const bool early = notifiedEarly.exchange(false);
  if (reported || early) {
    cardFoundByAutoSearch = true;
    cardReader_AutoOn = false;
    log.Log(kFound);
    return;
  }
  if (result > 0) {
    return;  // a report of another layout: the search goes on
  }
  cardFoundByAutoSearch = false;
  if (result == -1) {
    cardReader_AutoOn = false;
    log.Log(kDeviceError);
  }
}

void AutoSearch::Reset() {
  Stop();
  cardFoundByAutoSearch = false;
  notifiedEarly = false;
}

}  // namespace idcardreader
