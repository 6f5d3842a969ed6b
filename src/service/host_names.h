#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/socket.h"
#include "platform/threads.h"

namespace idcardreader {

// Looks host names up so that a silent name server holds nobody: each look-up has a thread of its
// own, which is left behind when it hangs and then goes on using the sockets; they must outlive it.
// Any thread may call this, several at once.
class HostNames {
 public:
  using GivenUp = std::function<bool()>;

  HostNames(platform::SocketApi& sockets, platform::Clock& clock);
  ~HostNames();
  HostNames(const HostNames&) = delete;
  HostNames& operator=(const HostNames&) = delete;

  // The dotted address of each host, in their order, empty where there is none; an address stands
  // for itself. All are looked up at the same time: this takes three seconds at most, and ends
  // within 50 ms of givenUp's coming true, which is asked on the caller's thread without a lock.
  //
  // A name is asked for once: while its look-up hangs, later callers wait for that one, and for
  // five seconds they get what it has brought, a failure or a time-out too.
  std::vector<std::string> Resolve(const std::vector<std::string>& hosts, const GivenUp& givenUp);

 private:
  struct Waiting;
  struct Answer;
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
  bool TakeAnswer(LookUp& lookUp, std::string& address);
  bool Settled(const std::string& host, bool timedOut, std::string& address);

  platform::SocketApi& sockets;
  platform::Clock& clock;
  const std::shared_ptr<Waiting> waiting;  // shared with the look-ups' threads
  std::map<std::string, LookUp> lookUps;   // guarded by waiting's lock
};

}  // namespace idcardreader
