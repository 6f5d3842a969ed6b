#pragma once

#include <map>
#include <string>

namespace fuzz {

// The files that there are, by name without a folder. Nothing is ever written.
std::map<std::string, std::string>& Files();

}  // namespace fuzz
