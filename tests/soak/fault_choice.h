#pragma once

#include <nlohmann/json.hpp>

#include "fault/vocabulary.h"
#include "soak/dice.h"

namespace soak {

// One fault of that side by chance, out of all that the scenario language can say about a read.
nlohmann::json ChooseFault(devkit::Side side, Dice& dice);

// Whether it strikes only while the reader is opened or the service is logged in to, which happens
// once for many reads.
bool StrikesAtStart(const nlohmann::json& fault);

}  // namespace soak
