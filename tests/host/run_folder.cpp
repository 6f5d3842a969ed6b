#include "host/run_folder.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "platform/dynamic_library.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;

fs::path FolderFromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || *value == '\0') {
    throw std::runtime_error(std::string(variable) + " is not set: run the tests with ctest");
  }
  return value;
}

std::string LibraryName() { return idcardreader::platform::DynamicLibraryFileName("idcardreader"); }

// Only the files that a release of this platform has are copied.
void CopyFiles(const fs::path& from, const fs::path& to) {
  for (const auto& entry : fs::directory_iterator(from)) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), to / entry.path().filename());
  }
}

fs::path StagedLibrary() {
  const fs::path stage = StageFolder();
  const fs::path inLib = stage / "lib" / LibraryName();
  return fs::exists(inLib) ? inLib : stage / "bin" / LibraryName();
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
  fs::copy_file(StagedLibrary(), Library());
  CopyFiles(StageFolder() / "devkit" / "virtual-reader", folder);
}

RunFolder::~RunFolder() {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

fs::path RunFolder::Library() const { return folder / LibraryName(); }

fs::path RunFolder::DeskFile() const { return folder / "virtual-reader.json"; }

void RunFolder::WriteFile(const std::string& name, const std::string& content) const {
  std::ofstream stream(folder / name, std::ios::binary | std::ios::trunc);
  stream << content;
  if (!stream.flush()) throw std::runtime_error(name + " cannot be written");
}

void RunFolder::RemoveFile(const std::string& name) const { fs::remove(folder / name); }

std::string RunFolder::ReadFile(const fs::path& relative) const {
  std::ifstream stream(folder / relative, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<std::uint8_t> RunFolder::ReadBytes(const fs::path& relative) const {
  const std::string content = ReadFile(relative);
  return {content.begin(), content.end()};
}

std::vector<std::string> RunFolder::Files(const std::string& subfolder) const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder / subfolder, error)) {
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
    fs::remove_all(folder / logs, ignored);
  }
}

}  // namespace hosttest
