#pragma once

#include <cstdlib>

#include "base/json_file.h"

namespace hosttest {

// What a program has said and how it ended.
struct ChildResult {
  int status = -1;
  std::string output;
  std::string errors;
};

// Runs a program of this folder (its name without an extension) and waits for its end. The shell of
// either system is started there, so that no path has to be quoted for it.
inline ChildResult RunProgram(const std::string& folder, const std::string& program,
                              const std::string& arguments) {
  namespace fs = std::filesystem;
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  const std::string command = (fs::path(".") / program).make_preferred().string() + " " +
                              arguments + " >child.out 2>child.err";
  ChildResult result;
  result.status = std::system(command.c_str());
#ifndef _WIN32
  // There the exit status is the second byte, and the first one a signal.
  result.status = (result.status & 0x7F) == 0 ? result.status >> 8 : -1;
#endif
  for (const auto& [file, text] :
       {std::pair("child.out", &result.output), {"child.err", &result.errors}}) {
    *text = devkit::ReadTextFile(file).value();
    std::erase(*text, '\r');  // of Windows' line ends
    fs::remove(file);
  }
  // The virtual reader's word that it is there comes first, where there is one.
  if (result.errors.starts_with("virtual reader: at work")) {
    result.errors.erase(0, result.errors.find('\n') + 1);
  }
  fs::current_path(before);
  return result;
}

}  // namespace hosttest
