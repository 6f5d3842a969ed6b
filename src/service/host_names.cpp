#include "service/host_names.h"

#include <mutex>
#include <utility>

#include "platform/mutex.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kLookUpLimitMs = 3000;
constexpr std::uint32_t kOutcomeLifeMs = 5000;
constexpr std::chrono::milliseconds kWaitSlice{50};

bool IsName(const std::string& host) { return !host.empty() && !platform::IsDottedAddress(host); }

}  // namespace

struct HostNames::Waiting {
  platform::CSMutex lock;
  platform::Condition change;
};

// Guarded by that lock.
struct HostNames::Answer {
  bool there = false;
  std::string address;
};

HostNames::HostNames(platform::SocketApi& sockets, platform::Clock& clock)
    : sockets(sockets), clock(clock), waiting(std::make_shared<Waiting>()) {}

HostNames::~HostNames() = default;

std::vector<std::string> HostNames::Resolve(const std::vector<std::string>& hosts,
                                            const GivenUp& givenUp) {
  std::vector<std::string> addresses = hosts;
  const std::uint32_t begun = clock.TickCount();
  std::unique_lock guard(waiting->lock);
  for (std::size_t index = 0; index < hosts.size(); ++index) {
    if (IsName(hosts[index])) {
      addresses[index].clear();
      Begin(hosts[index]);
    }
  }
  for (;;) {
    guard.unlock();
    const bool over = givenUp();
    guard.lock();
    const bool timedOut = clock.TickCount() - begun >= kLookUpLimitMs;
    bool settled = true;
    for (std::size_t index = 0; index < hosts.size(); ++index) {
      if (IsName(hosts[index]) && !Settled(hosts[index], timedOut, addresses[index])) {
        settled = false;
      }
    }
    if (settled || over) {
      return addresses;
    }
    waiting->change.WaitFor(waiting->lock, kWaitSlice);
  }
}

void HostNames::Begin(const std::string& host) {
  LookUp& lookUp = lookUps[host];
  std::string address;
  if (TakeAnswer(lookUp, address) && !address.empty()) {
    // It came when nobody waited any more. That there is none was true at its time only.
    lookUp.outcome = Outcome{std::move(address), clock.TickCount()};
  }
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
    answer->address = std::move(found);
    answer->there = true;
    waiting->change.NotifyAll();
  };
  if (thread->Start(lookUpHost)) {
    lookUp.thread = std::move(thread);
    lookUp.answer = std::move(answer);
  } else {
    lookUp.outcome = Outcome{{}, clock.TickCount()};
  }
}

bool HostNames::TakeAnswer(LookUp& lookUp, std::string& address) {
  if (lookUp.answer == nullptr || !lookUp.answer->there) {
    return false;
  }
  address = std::move(lookUp.answer->address);
  lookUp.answer.reset();
  lookUp.thread->WaitFor(std::chrono::seconds(1));  // it has nothing left to do but to end
  lookUp.thread.reset();
  return true;
}

bool HostNames::Settled(const std::string& host, bool timedOut, std::string& address) {
  LookUp& lookUp = lookUps[host];
  std::string answered;
  if (TakeAnswer(lookUp, answered) || (timedOut && !lookUp.outcome)) {
    lookUp.outcome = Outcome{std::move(answered), clock.TickCount()};
  }
  if (!lookUp.outcome) {
    return false;
  }
  address = lookUp.outcome->address;
  return true;
}

}  // namespace idcardreader
