#include "fault/fault.h"

#include <algorithm>
#include <cmath>

#include "base/json_file.h"
#include "fault/vocabulary.h"

namespace devkit {
namespace {

using Json = nlohmann::ordered_json;

std::chrono::microseconds FromMilliseconds(double milliseconds) {
  return std::chrono::microseconds(std::llround(milliseconds * 1000));
}

std::string RequiredWord(const Json& fault, const char* member, const std::string& where,
                         const std::vector<std::string_view>& allowed) {
  const auto found = fault.find(member);
  if (found == fault.end() || !found->is_string()) {
    Fail(where, "\"" + std::string(member) + "\" is missing (allowed: " + JoinNames(allowed) + ")");
  }
  const std::string word = found->get<std::string>();
  if (std::find(allowed.begin(), allowed.end(), word) == allowed.end()) {
    Fail(where, "unknown word \"" + word + "\" for \"" + member +
                    "\" (allowed: " + JoinNames(allowed) + ")");
  }
  return word;
}

double CheckedNumber(const Json& value, const std::string& where, const std::string& name,
                     double least, double most, bool whole) {
  const bool fits = value.is_number() && (!whole || value.is_number_integer()) &&
                    value.get<double>() >= least && value.get<double>() <= most;
  if (!fits) {
    Fail(where, "\"" + name + "\" must be a " + (whole ? "whole " : "") + "number from " +
                    std::to_string(std::llround(least)) + " to " +
                    std::to_string(std::llround(most)));
  }
  return value.get<double>();
}

void CheckParameter(const Json& value, const ParameterRule& rule, const std::string& where) {
  const std::string name(rule.name);
  switch (rule.type) {
    case ParameterType::number:
    case ParameterType::milliseconds:
      CheckedNumber(value, where, name, rule.least, rule.most, rule.type == ParameterType::number);
      return;
    case ParameterType::text:
    case ParameterType::hex:
      break;
  }
  if (!value.is_string()) Fail(where, "\"" + name + "\" must be a text");
  const std::string text = value.get<std::string>();
  if (!rule.words.empty() &&
      std::find(rule.words.begin(), rule.words.end(), text) == rule.words.end()) {
    Fail(where, "unknown word \"" + text + "\" for \"" + name +
                    "\" (allowed: " + JoinNames(rule.words) + ")");
  }
  if (rule.type == ParameterType::text) {
    // The texts go into messages that know no escapes.
    if (text.find_first_of("\"\\{}\n\r") != std::string::npos) {
      Fail(where, "\"" + name + "\" must not hold quotes, backslashes, braces or line ends");
    }
    return;
  }
  try {
    if (FromHex(text).size() > 64) Fail(where, "\"" + name + "\" holds more than 64 bytes");
  } catch (const std::invalid_argument& error) {
    Fail(where, "\"" + name + "\": " + error.what());
  }
}

const KindRule& FindKind(Side side, const std::string& name) {
  const std::vector<KindRule>& kinds = Kinds(side);
  return *std::find_if(kinds.begin(), kinds.end(),
                       [&](const KindRule& rule) { return rule.name == name; });
}

std::vector<std::string_view> KindNames(Side side) {
  std::vector<std::string_view> names;
  for (const KindRule& rule : Kinds(side)) names.push_back(rule.name);
  return names;
}

int Occasions(const Json& fault, const char* name, int standard, const std::string& where) {
  const auto found = fault.find(name);
  if (found == fault.end()) return standard;
  return static_cast<int>(CheckedNumber(*found, where, name, 0, 1000000, true));
}

Fault ParseFault(const Json& json, Side side, const std::string& where) {
  if (!json.is_object()) Fail(where, "an object is wanted");
  const KindRule& rule = FindKind(side, RequiredWord(json, "fault", where, KindNames(side)));
  Fault fault;
  fault.kind = rule.kind;
  fault.at = RequiredWord(json, "at", where, Places(side));
  if (std::find(rule.places.begin(), rule.places.end(), fault.at) == rule.places.end()) {
    Fail(where, "\"" + std::string(rule.name) + "\" cannot happen at \"" + fault.at +
                    "\" (allowed: " + JoinNames(rule.places) + ")");
  }
  fault.skip = Occasions(json, "skip", 0, where);
  fault.times = Occasions(json, "times", -1, where);

  std::vector<std::string_view> known = {"at", "fault", "skip", "times"};
  for (const ParameterRule& parameter : rule.parameters) {
    known.push_back(parameter.name);
    const std::string name(parameter.name);
    const auto found = json.find(name);
    if (found == json.end() && parameter.standard.empty()) {
      Fail(where, "\"" + std::string(rule.name) + "\" needs \"" + name + "\"");
    }
    const Json value = found != json.end() ? *found : Json::parse(parameter.standard);
    CheckParameter(value, parameter, where);
    fault.parameters[name] = nlohmann::json(value);
  }
  for (const auto& [name, value] : json.items()) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      Fail(where, "\"" + std::string(rule.name) + "\" has no \"" + name +
                      "\" (allowed: " + JoinNames(known) + ")");
    }
  }
  return fault;
}

Section ParseSection(const Json& json, Side side, const std::string& where) {
  RequireMembers(json, where, {"latency", "faults"});
  Section section;
  if (const auto latency = json.find("latency"); latency != json.end()) {
    const std::string place = where + ".latency";
    if (!latency->is_object()) Fail(place, "an object is wanted");
    const std::vector<std::string_view> names = LatencyNames(side);
    for (const auto& [name, value] : latency->items()) {
      if (std::find(names.begin(), names.end(), name) == names.end()) {
        Fail(place, "unknown word \"" + name + "\" (allowed: " + JoinNames(names) + ")");
      }
      section.latency[name] = FromMilliseconds(CheckedNumber(value, place, name, 0, 600000, false));
    }
  }
  if (const auto faults = json.find("faults"); faults != json.end()) {
    if (!faults->is_array()) Fail(where + ".faults", "an array is wanted");
    for (std::size_t i = 0; i < faults->size(); ++i) {
      section.faults.push_back(
          ParseFault((*faults)[i], side, where + ".faults[" + std::to_string(i) + "]"));
    }
  }
  return section;
}

}  // namespace

std::chrono::microseconds Fault::Time(const char* name) const {
  return FromMilliseconds(parameters.at(name).get<double>());
}

Scenario ParseScenario(const Json& json, const std::string& where) {
  RequireMembers(
      json, where,
      {"description", "code", "waits", "goodReadsBefore", "attempts", "reader", "service"});
  Scenario scenario;
  if (const auto found = json.find("description"); found != json.end()) {
    if (!found->is_string()) Fail(where + ".description", "a text is wanted");
    scenario.description = found->get<std::string>();
  }
  if (const auto found = json.find("code"); found != json.end()) {
    scenario.code = static_cast<int>(CheckedNumber(*found, where, "code", 2, 55, true));
  }
  scenario.goodReadsBefore = Occasions(json, "goodReadsBefore", 0, where);
  if (const auto found = json.find("reader"); found != json.end()) {
    scenario.reader = ParseSection(*found, Side::reader, where + ": reader");
  }
  if (const auto found = json.find("service"); found != json.end()) {
    scenario.service = ParseSection(*found, Side::service, where + ": service");
  }
  return scenario;
}

}  // namespace devkit
