#pragma once

#include <string_view>

#include "trace/trace.h"

namespace readcard::trace {

const StepKind& KindOf(std::string_view key);
// The step at which a code fails; empty when that is whichever was under way.
std::string_view PlaceOfCode(int code);
const char* TrackName(Track track);

}  // namespace readcard::trace
