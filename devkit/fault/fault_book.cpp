#include "fault/fault_book.h"

#include <algorithm>
#include <utility>

namespace devkit {

FaultBook::FaultBook(Section content)
    : section(std::move(content)), seen(section.faults.size(), 0) {}

const Fault* FaultBook::Next(std::string_view at) {
  for (std::size_t i = 0; i < section.faults.size(); ++i) {
    const Fault& fault = section.faults[i];
    if (fault.at != at || fault.kind == FaultKind::not_listening ||
        fault.kind == FaultKind::unanswered) {
      continue;
    }
    if (fault.times >= 0 && seen[i] >= fault.skip + fault.times) continue;
    const bool spoils = seen[i] >= fault.skip;
    // A fault without end must not count for ever.
    if (!spoils || fault.times >= 0) ++seen[i];
    if (spoils) return &fault;
  }
  return nullptr;
}

bool FaultBook::Holds(std::string_view at, FaultKind kind) const {
  return std::any_of(section.faults.begin(), section.faults.end(),
                     [&](const Fault& fault) { return fault.at == at && fault.kind == kind; });
}

std::optional<std::chrono::microseconds> FaultBook::Latency(std::string_view name) const {
  const auto found = section.latency.find(name);
  if (found == section.latency.end()) return std::nullopt;
  return found->second;
}

}  // namespace devkit
