#include "host/run_folder.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <set>
#include <stdexcept>

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

// What processes left that could not remove their own folder: a loaded file cannot be removed
// everywhere.
void RemoveOldFolders(const fs::path& parent) {
  std::error_code error;
  const auto now = fs::file_time_type::clock::now();
  for (const auto& entry : fs::directory_iterator(parent, error)) {
    if (now - entry.last_write_time(error) > std::chrono::hours(1)) {
      fs::remove_all(entry.path(), error);
    }
  }
}

}  // namespace

fs::path StageFolder() { return FolderFromEnvironment("IDCARDREADER_STAGE"); }

fs::path SourceFolder() { return FolderFromEnvironment("IDCARDREADER_SOURCE"); }

RunFolder& RunFolder::Get() {
  static RunFolder folder;
  return folder;
}

RunFolder::RunFolder() {
  const fs::path parent = fs::current_path() / "runs";
  fs::create_directories(parent);
  RemoveOldFolders(parent);
  std::random_device random;
  do {
    folder = parent / std::to_string(random());
  } while (!fs::create_directory(folder));
  const fs::path inLib = StageFolder() / "lib" / Library().filename();
  fs::copy_file(fs::exists(inLib) ? inLib : StageFolder() / "bin" / Library().filename(),
                Library());
  // The files of the virtual reader.
  // One by one: copying a folder into one that is there fails on Windows.
  for (const auto& entry : fs::directory_iterator(StageFolder() / "devkit" / "virtual-reader")) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), folder / entry.path().filename());
  }
}

RunFolder::~RunFolder() {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

fs::path RunFolder::Library() const {
  return folder / idcardreader::platform::DynamicLibraryFileName("idcardreader");
}

void RunFolder::WriteFile(const std::string& name, const std::string& content) const {
  std::ofstream stream(folder / name, std::ios::binary | std::ios::trunc);
  if (!(stream << content << std::flush)) throw std::runtime_error(name + " cannot be written");
}

std::string RunFolder::ReadFile(const fs::path& relative) const {
  return devkit::ReadTextFile(folder / relative).value_or("");
}

std::vector<std::string> RunFolder::Files(const std::string& subfolder) const {
  std::set<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder / subfolder, error)) {
    names.insert(entry.path().filename().string());
  }
  return {names.begin(), names.end()};
}

std::string RunFolder::AllOf(const std::string& subfolder) const {
  std::string all;
  for (const std::string& name : Files(subfolder)) all += ReadFile(fs::path(subfolder) / name);
  return all;
}

void RunFolder::RemoveLogs() const {
  std::error_code ignored;
  for (const char* logs : {"errordata", "LogData", "logdata"}) {
    fs::remove_all(folder / logs, ignored);
  }
}

}  // namespace hosttest
