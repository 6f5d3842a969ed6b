#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "fault/fault.h"

namespace devkit {

// Hands out the faults of one section as their occasions come. Faults at the same place are tried
// in order: an exhausted one lets the occasion pass on to the next.
class FaultBook {
 public:
  FaultBook() = default;
  explicit FaultBook(Section section);

  // The fault that spoils this occasion, or null. Each call is one occasion.
  const Fault* Next(std::string_view at);
  // True while a fault of this kind is in force there, whatever the occasions.
  bool Holds(std::string_view at, FaultKind kind) const;
  std::optional<std::chrono::microseconds> Latency(std::string_view name) const;

 private:
  Section section;
  std::vector<int> seen;  // occasions that reached the fault of the same index
};

}  // namespace devkit
