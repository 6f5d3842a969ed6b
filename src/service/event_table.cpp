#include "service/event_table.h"

#include <utility>

#include "support/status_codes.h"

namespace idcardreader {

void EventTable::Clear() {
  entries.clear();
  keys.clear();
  failureCodes.clear();
}

void EventTable::File(std::int32_t item, const std::string& text) {
  entries.try_emplace(item, text);
}

void EventTable::FileKey(std::int32_t item, const Block& key, const std::string& text) {
  if (entries.try_emplace(item, text).second) {
    keys[item] = key;
  }
}

void EventTable::AddFailure(std::int32_t code) { failureCodes.push_back(code); }

std::string EventTable::Take(std::int32_t item) {
  const auto found = entries.find(item);
  if (found != entries.end()) {
    std::string text = std::move(found->second);
    entries.erase(found);
    keys.erase(item);
    return text;
  }
  if (item < kItemOldestFailure || failureCodes.empty()) {
    return {};
  }
  const std::int32_t code = failureCodes.front();
  failureCodes.erase(failureCodes.begin());
  return std::string(StatusText(code));
}

Block EventTable::TakeKey(std::int32_t item) {
  const auto found = keys.find(item);
  if (found == keys.end()) {
    return {};
  }
  Block key = std::move(found->second);
  Take(item);
  return key;
}

}  // namespace idcardreader
