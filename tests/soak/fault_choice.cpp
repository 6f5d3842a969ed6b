#include "soak/fault_choice.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace soak {
namespace {

using nlohmann::json;
using Names = std::vector<std::string_view>;

bool IsOneOf(const Names& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// The rest belongs to searches, to UIDs and to the beeper.
const Names kOutsideReads = {"search-on", "search-off", "uid", "uid-a", "beep", "notification"};
const Names kAtStart = {"enumerate", "open", "authorize", "version", "login"};
// Each costs a time-out. Most of a soak should be reads.
const Names kTakeTheirTime = {"drop", "late", "half", "unanswered", "wrong-echo"};
constexpr int kPercentThatMayTakeTime = 10;

json ChooseValue(const devkit::ParameterRule& rule, Dice& dice) {
  if (!rule.words.empty()) return std::string(dice.Of(rule.words));
  switch (rule.type) {
    case devkit::ParameterType::milliseconds:
      return dice.Percent(kPercentThatMayTakeTime) ? dice.Between(900, 2100) : dice.Between(0, 30);
    case devkit::ParameterType::number:
      return dice.Between(std::max(static_cast<int>(rule.least), -1),
                          std::min(static_cast<int>(rule.most), 30000));
    case devkit::ParameterType::hex: {
      std::string digits;
      for (int left = 128; left > 0; --left) digits += "0123456789ABCDEF"[dice.Between(0, 15)];
      return digits;
    }
    default:
      return "x" + std::to_string(dice.Between(0, 999));
  }
}

}  // namespace

json ChooseFault(devkit::Side side, Dice& dice) {
  for (;;) {
    const devkit::KindRule& kind = dice.Of(devkit::Kinds(side));
    const std::string_view place = dice.Of(kind.places);
    if (IsOneOf(kOutsideReads, place)) continue;
    if (IsOneOf(kTakeTheirTime, kind.name) && !dice.Percent(kPercentThatMayTakeTime)) continue;
    json fault = {{"at", std::string(place)},
                  {"fault", std::string(kind.name)},
                  {"times", dice.Between(1, 2)}};
    for (const devkit::ParameterRule& parameter : kind.parameters) {
      fault[std::string(parameter.name)] = ChooseValue(parameter, dice);
    }
    return fault;
  }
}

bool StrikesAtStart(const json& fault) {
  return IsOneOf(kAtStart, fault.at("at").get<std::string>());
}

}  // namespace soak
