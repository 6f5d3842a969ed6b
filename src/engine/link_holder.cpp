#include "engine/link_holder.h"

#include <array>
#include <mutex>

namespace idcardreader {
namespace {

// In the order in which a new link gets them.
constexpr std::array<LinkSetting, 7> kSettingOrder = {
    LinkSetting::log_switch, LinkSetting::server1, LinkSetting::socket_timeout,
    LinkSetting::server2,    LinkSetting::host1,   LinkSetting::host2,
    LinkSetting::device_code};

}  // namespace

LinkHolder::LinkHolder(platform::SocketApi& sockets, platform::Clock& clock, const Dialect& dialect)
    : sockets(sockets), hostNames(sockets, clock), clock(clock), dialect(dialect) {}

std::shared_ptr<DecodeServerLink> LinkHolder::Ensure() {
  const std::lock_guard guard(holderLock);
  if (link == nullptr) {
    link = std::make_shared<DecodeServerLink>(sockets, hostNames, clock, dialect);
    for (const LinkSetting number : kSettingOrder) {
      const auto setting = settings.find(number);
      if (setting != settings.end()) {
        link->SetSetting(number, setting->second);
      }
    }
  }
  return link;
}

std::shared_ptr<DecodeServerLink> LinkHolder::Get() {
  const std::lock_guard guard(holderLock);
  return link;
}

void LinkHolder::Record(LinkSetting setting, const std::string& text) {
  const std::lock_guard guard(holderLock);
  settings[setting] = text;
  if (link != nullptr) {
    link->SetSetting(setting, text);
  }
}

void LinkHolder::EndLink() {
  std::shared_ptr<DecodeServerLink> ended;  // its threads are waited for outside the lock
  const std::lock_guard guard(holderLock);
  ended.swap(link);
}

}  // namespace idcardreader
