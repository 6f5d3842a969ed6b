#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/service_settings.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/socket.h"
#include "platform/threads.h"

namespace idcardreader {

// Looks host names up so that a silent name server holds nobody: each look-up has a thread of its
// own, which is left behind when it hangs and then goes on using the sockets; they must outlive it.
// Any thread may call this, several at once.
class HostNames {
 public:
  using GivenUp = std::function<bool()>;

  HostNames(platform::SocketApi& sockets, platform::Clock& clock)
      : sockets(sockets), clock(clock) {}
  HostNames(const HostNames&) = delete;
  HostNames& operator=(const HostNames&) = delete;

  // The servers by their dotted addresses, in their order and without those that have none; an
  // address stands for itself. All are looked up at the same time: this takes three seconds at most,
  // and ends within 50 ms of givenUp's coming true, which is asked on the caller's thread without a
  // lock.
  //
  // A name is asked for once: while its look-up hangs, later callers wait for that one, and for
  // five seconds they get what it has brought, a failure or a time-out too.
  std::vector<ServerEndpoint> Resolve(const std::vector<ServerEndpoint>& servers,
                                      const GivenUp& givenUp);

 private:
  // Shared with the look-ups' threads; the lock guards what they bring as well.
  struct Waiting {
    platform::CSMutex lock;
    platform::Condition change;
  };
  using Answer = std::optional<std::string>;
  struct Outcome {
    std::string address;
    std::uint32_t since;  // ticks
  };
  struct LookUp {
    std::unique_ptr<platform::LoneThread> thread;
    std::shared_ptr<Answer> answer;  // null when it was taken
    std::optional<Outcome> outcome;
  };

  void Begin(const std::string& host);
  void TakeAnswer(LookUp& lookUp, bool waitedFor);
  std::optional<std::string> AddressOf(const std::string& host, bool timedOut);

  platform::SocketApi& sockets;
  platform::Clock& clock;
  const std::shared_ptr<Waiting> waiting = std::make_shared<Waiting>();
  std::map<std::string, LookUp> lookUps;  // guarded by waiting's lock
};

}  // namespace idcardreader
