#include "engine/auto_search.h"

#include "support/gbk_text.h"

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
    : reader(reader), host(host), log(log), clock(clock) {}

bool AutoSearch::FindCard() {
  if (cardReader_AutoOn || SwitchOn()) {
    AwaitNotification();
  }
  log.Log("cardReader_AutoOn   END");
  return cardFoundByAutoSearch;
}

// False when the search is not on afterwards: it failed, or was stopped meanwhile.
bool AutoSearch::SwitchOn() {
  log.Log("cardReader_AutoOn   ******");
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
      const ReaderOutcome outcome = reader.openAutoFindCard(notified);
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
  return cardReader_AutoOn;
}

void AutoSearch::AwaitNotification() {
  log.Log(kRestart);
  log.Log(kSearching);
  Answer report{};
  ReaderOutcome outcome;
  const std::int32_t result = reader.idReader_FindCard(report, outcome);
  host.RaiseSearchFailure(outcome);
  const bool reported = result > 0 && reader.KeepNotification(report);
  const bool early = notifiedEarly.exchange(false);
  if (reported || (early && result <= 0)) {
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

ReaderOutcome AutoSearch::CloseBeforeRead() {
  const bool mayBeOn = cardFoundByAutoSearch || cardReader_AutoOn || reader.SearchIsOn();
  Stop();
  cardFoundByAutoSearch = false;
  notifiedEarly = false;
  if (!mayBeOn || !reader.IsOpen()) {
    return {};
  }
  const ReaderOutcome outcome = reader.closeAutoFindCard();
  log.Log("HID closeAutoFindCard end");
  return outcome;
}

void AutoSearch::Reset() {
  Stop();
  cardFoundByAutoSearch = false;
  notifiedEarly = false;
}

}  // namespace idcardreader
