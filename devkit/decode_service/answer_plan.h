#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "decode_service/session.h"

namespace devkit {

// One thing to do on the line after a pause.
struct LineStep {
  enum class Then { go_on, close, reset };

  std::chrono::microseconds pause{0};
  std::string bytes;  // sent in one call; may be empty
  Then then = Then::go_on;
};

// How a reply goes over the line, with the fault of its line played.
std::vector<LineStep> PlanAnswer(const Reply& reply);

}  // namespace devkit
