#pragma once

#include <memory>

#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/socket.h"
#include "service/decode_server_link.h"

namespace idcardreader {

// The process's one service link, made on first need.
// Whoever holds the pointer keeps the link alive while using it.
class LinkHolder {
 public:
  LinkHolder(platform::SocketApi& sockets, platform::Clock& clock,
             const Dialect& dialect = TokenDialect());

  std::shared_ptr<DecodeServerLink> Ensure();
  // Null when there is none.
  std::shared_ptr<DecodeServerLink> Get();
  void EndLink();
  // The log of the link that is there and of every later one.
  void SwitchLog(bool on);
  HostNames& Names() { return hostNames; }

 private:
  platform::SocketApi& sockets;
  HostNames hostNames;
  platform::Clock& clock;
  const Dialect& dialect;
  platform::CSMutex holderLock;  // guards the rest; taken after stateLock, before the link's lock
  std::shared_ptr<DecodeServerLink> link;
  bool logging = false;
};

}  // namespace idcardreader
