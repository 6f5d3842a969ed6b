#include "host/run_folder.h"

#include <algorithm>
#include <cstdlib>

#include "base/json_file.h"
#include "platform/dynamic_library.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;

fs::path FolderFromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr) {
    throw std::runtime_error(std::string(variable) + " is not set: run the tests with ctest");
  }
  return value;
}

}  // namespace

fs::path StageFolder() { return FolderFromEnvironment("IDCARDREADER_STAGE"); }

fs::path SourceFolder() { return FolderFromEnvironment("IDCARDREADER_SOURCE"); }

RunFolder& RunFolder::Get() {
  static RunFolder folder;
  return folder;
}

RunFolder::RunFolder() {
  const fs::path inLib = StageFolder() / "lib" / Library().filename();
  fs::copy_file(fs::exists(inLib) ? inLib : StageFolder() / "bin" / Library().filename(),
                Library());
  // One by one: copying a folder into one that is there fails on Windows.
  for (const auto& entry : fs::directory_iterator(StageFolder() / "devkit" / "virtual-reader")) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), Path() / entry.path().filename());
  }
}

fs::path RunFolder::Library() const {
  return Path() / idcardreader::platform::DynamicLibraryFileName("idcardreader");
}

std::string RunFolder::ReadFile(const fs::path& relative) const {
  return devkit::ReadTextFile(Path() / relative).value_or("");
}

std::vector<std::string> RunFolder::Files(const std::string& subfolder) const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(Path() / subfolder, error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string RunFolder::AllOf(const std::string& subfolder) const {
  std::string all;
  for (const std::string& name : Files(subfolder)) all += ReadFile(fs::path(subfolder) / name);
  return all;
}

void RunFolder::RemoveLogs() const {
  std::error_code ignored;
  for (const char* logs : {"errordata", "LogData", "logdata"}) {
    fs::remove_all(Path() / logs, ignored);
  }
}

}  // namespace hosttest
