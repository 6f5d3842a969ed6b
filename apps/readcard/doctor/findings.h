#pragma once

#include <string>
#include <vector>

#include "language.h"

namespace readcard::doctor {

enum class Level { ok, warning, fault };

// One line of the report.
struct Finding {
  Level level = Level::ok;
  std::string name;    // the same in every language, for programs: "conf.unknown-key"
  Text what;           // was looked at
  std::string detail;  // a path, a number, a name: in no language
  Text cause{"", ""};
  Text cure{"", ""};
};

using Findings = std::vector<Finding>;

}  // namespace readcard::doctor
