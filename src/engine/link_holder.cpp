#include "engine/link_holder.h"

#include <mutex>

namespace idcardreader {

LinkHolder::LinkHolder(platform::SocketApi& sockets, platform::Clock& clock, const Dialect& dialect)
    : sockets(sockets), hostNames(sockets, clock), clock(clock), dialect(dialect) {}

std::shared_ptr<DecodeServerLink> LinkHolder::Ensure() {
  const std::lock_guard guard(holderLock);
  if (link == nullptr) {
    link = std::make_shared<DecodeServerLink>(sockets, hostNames, clock, dialect);
    link->SwitchLog(logging);
  }
  return link;
}

std::shared_ptr<DecodeServerLink> LinkHolder::Get() {
  const std::lock_guard guard(holderLock);
  return link;
}

void LinkHolder::EndLink() {
  std::shared_ptr<DecodeServerLink> ended;  // its threads are waited for outside the lock
  const std::lock_guard guard(holderLock);
  ended.swap(link);
}

void LinkHolder::SwitchLog(bool on) {
  const std::lock_guard guard(holderLock);
  logging = on;
  if (link != nullptr) {
    link->SwitchLog(on);
  }
}

}  // namespace idcardreader
