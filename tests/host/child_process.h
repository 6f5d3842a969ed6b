#pragma once

#include <string>

namespace hosttest {

// What a program has said and how it ended.
struct ChildResult {
  int status = -1;
  std::string output;
  std::string errors;
};

// Runs a program of this folder (its name without an extension) there, and waits for it; it has to
// end by itself. Arguments are separated by blanks.
ChildResult RunProgram(const std::string& folder, const std::string& program,
                       const std::string& arguments);

}  // namespace hosttest
