#include "host/child_process.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace hosttest {
namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
int ExitStatus(int systemResult) { return systemResult; }
#else
int ExitStatus(int systemResult) {
  return WIFEXITED(systemResult) ? WEXITSTATUS(systemResult) : -1;
}
#endif

std::string Take(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  stream.close();
  fs::remove(file);
  std::erase(content, '\r');  // of Windows' line ends
  return content;
}

}  // namespace

// The shell of either system is started in the folder, so that no path has to be quoted for it.
ChildResult RunProgram(const std::string& folder, const std::string& program,
                       const std::string& arguments) {
  const fs::path before = fs::current_path();
  fs::current_path(folder);
  const std::string command = (fs::path(".") / program).make_preferred().string() + " " +
                              arguments + " >child.out 2>child.err";
  ChildResult result;
  result.status = ExitStatus(std::system(command.c_str()));
  result.output = Take("child.out");
  result.errors = Take("child.err");
  fs::current_path(before);
  return result;
}

}  // namespace hosttest
