#include "fault/fault_book.h"

#include <utility>

namespace devkit {

FaultBook::FaultBook(Section content)
    : section(std::move(content)), seen(section.faults.size(), 0) {}

const Fault* FaultBook::Next(std::string_view at) {
  for (std::size_t i = 0; i < section.faults.size(); ++i) {
    const Fault& fault = section.faults[i];
    if (fault.at != at) continue;
    if (fault.times >= 0 && seen[i] >= fault.skip + fault.times) continue;
    const bool spoils = seen[i] >= fault.skip;
    // A fault without end must not count for ever.
    if (!spoils || fault.times >= 0) ++seen[i];
    if (spoils) return &fault;
  }
  return nullptr;
}

std::optional<std::chrono::microseconds> FaultBook::Latency(std::string_view name) const {
  const auto found = section.latency.find(name);
  if (found == section.latency.end()) return std::nullopt;
  return found->second;
}

}  // namespace devkit
