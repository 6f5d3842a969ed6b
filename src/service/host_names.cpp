#include "service/host_names.h"

#include <mutex>
#include <utility>

namespace idcardreader {
namespace {

constexpr std::uint32_t kLookUpLimitMs = 3000;
constexpr std::uint32_t kOutcomeLifeMs = 5000;
constexpr std::chrono::milliseconds kWaitSlice{50};

bool IsName(const std::string& host) { return !host.empty() && !platform::IsDottedAddress(host); }

}  // namespace

std::vector<ServerEndpoint> HostNames::Resolve(const std::vector<ServerEndpoint>& servers,
                                               const GivenUp& givenUp) {
  const std::uint32_t begun = clock.TickCount();
  std::unique_lock guard(waiting->lock);
  for (const ServerEndpoint& server : servers) {
    if (IsName(server.host)) {
      Begin(server.host);
    }
  }
  for (;;) {
    guard.unlock();
    const bool over = givenUp();
    guard.lock();
    const bool timedOut = clock.TickCount() - begun >= kLookUpLimitMs;
    bool settled = true;
    std::vector<ServerEndpoint> resolved;
    for (const ServerEndpoint& server : servers) {
      const auto address = AddressOf(server.host, timedOut);
      settled = settled && address.has_value();
      if (address && !address->empty()) {
        resolved.push_back({*address, server.port});
      }
    }
    if (settled || over) {
      return resolved;
    }
    waiting->change.WaitFor(waiting->lock, kWaitSlice);
  }
}

void HostNames::Begin(const std::string& host) {
  LookUp& lookUp = lookUps[host];
  TakeAnswer(lookUp, false);
  if (lookUp.outcome && clock.TickCount() - lookUp.outcome->since >= kOutcomeLifeMs) {
    lookUp.outcome.reset();
  }
  if (lookUp.answer != nullptr || lookUp.outcome) {
    return;
  }
  auto thread = std::make_unique<platform::LoneThread>();
  auto answer = std::make_shared<Answer>();
  const auto lookUpHost = [&sockets = sockets, host, waiting = waiting, answer] {
    std::string found;
    try {
      found = sockets.ResolveHostName(host);
    } catch (...) {
      // Out of memory: there is no address.
    }
    const std::lock_guard guard(waiting->lock);
    *answer = std::move(found);
    waiting->change.NotifyAll();
  };
  if (thread->Start(lookUpHost)) {
    lookUp.thread = std::move(thread);
    lookUp.answer = std::move(answer);
  } else {
    lookUp.outcome = Outcome{{}, clock.TickCount()};
  }
}

// An answer that came when nobody waited any more counts from now; that there was no address was
// true at its time only.
void HostNames::TakeAnswer(LookUp& lookUp, bool waitedFor) {
  if (lookUp.answer == nullptr || !lookUp.answer->has_value()) {
    return;
  }
  if (waitedFor || !(*lookUp.answer)->empty()) {
    lookUp.outcome = Outcome{std::move(**lookUp.answer), clock.TickCount()};
  }
  lookUp.answer.reset();
  lookUp.thread->WaitFor(std::chrono::seconds(1));  // it has nothing left to do but to end
  lookUp.thread.reset();
}

// Nothing while it is not known.
std::optional<std::string> HostNames::AddressOf(const std::string& host, bool timedOut) {
  if (!IsName(host)) {
    return host;
  }
  LookUp& lookUp = lookUps[host];
  TakeAnswer(lookUp, true);
  if (timedOut && !lookUp.outcome) {
    lookUp.outcome = Outcome{{}, clock.TickCount()};
  }
  return lookUp.outcome ? std::optional(lookUp.outcome->address) : std::nullopt;
}

}  // namespace idcardreader
