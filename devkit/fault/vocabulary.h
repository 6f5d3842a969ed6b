#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "fault/fault.h"

namespace devkit {

enum class Side { reader, service };

enum class ParameterType { number, milliseconds, text, hex };

struct ParameterRule {
  std::string_view name;
  ParameterType type;
  double least = 0;  // smallest and largest number
  double most = 0;
  std::string_view standard = {};  // the value when it is left out, as JSON; empty: it is required
  std::vector<std::string_view> words = {};  // of a text; empty: any
};

struct KindRule {
  std::string_view name;
  FaultKind kind;
  std::vector<std::string_view> places;
  std::vector<ParameterRule> parameters = {};
};

// The words of the scenario language: the one list that reading, messages and documentation use.
const std::vector<std::string_view>& Places(Side side);
const std::vector<KindRule>& Kinds(Side side);
// What "latency" may be set for: a whole side's "report" or "exchange", or one place of it.
std::vector<std::string_view> LatencyNames(Side side);

}  // namespace devkit
