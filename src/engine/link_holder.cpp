#include "engine/link_holder.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "support/status_codes.h"

namespace idcardreader {
namespace {

// In the order in which a new link gets them.
constexpr std::array<std::int32_t, 7> kSettingItems = {
    kItemLogSwitch, kItemServer1, kItemSocketTimeout, kItemServer2,
    kItemHost1,     kItemHost2,   kItemDeviceCode};

bool IsSetting(std::int32_t item) {
  return std::find(kSettingItems.begin(), kSettingItems.end(), item) != kSettingItems.end();
}

}  // namespace

LinkHolder::LinkHolder(platform::SocketApi& sockets, platform::Clock& clock, const Dialect& dialect)
    : sockets(sockets), hostNames(sockets, clock), clock(clock), dialect(dialect) {}

std::shared_ptr<DecodeServerLink> LinkHolder::Ensure() {
  const std::lock_guard guard(holderLock);
  if (link == nullptr) {
    link = std::make_shared<DecodeServerLink>(sockets, hostNames, clock, dialect);
    for (const std::int32_t item : kSettingItems) {
      const auto setting = settings.find(item);
      if (setting != settings.end()) {
        link->SetSetting(item, setting->second);
      }
    }
  }
  return link;
}

std::shared_ptr<DecodeServerLink> LinkHolder::Get() {
  const std::lock_guard guard(holderLock);
  return link;
}

void LinkHolder::Record(std::int32_t item, const std::string& text) {
  std::shared_ptr<DecodeServerLink> ended;  // its threads are waited for outside the lock
  const std::lock_guard guard(holderLock);
  if (item == kItemExit) {
    ended.swap(link);
  } else if (IsSetting(item)) {
    settings[item] = text;
    if (link != nullptr) {
      link->SetSetting(item, text);
    }
  }
}

}  // namespace idcardreader
