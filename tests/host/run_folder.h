#pragma once

#include "support/temporary_folder.h"

namespace hosttest {

// A folder of this process's own with the shipped library and the virtual reader in hidapi's place,
// as a host would have them. The virtual reader stays loaded for the process and keeps to its desk
// file, so there is one such folder for all tests of a process.
class RunFolder {
 public:
  static RunFolder& Get();

  const std::filesystem::path& Path() const { return folder.path; }
  std::filesystem::path Library() const;
  std::filesystem::path DeskFile() const { return Path() / "virtual-reader.json"; }

  void WriteFile(const char* name, std::string_view content) const { folder.Write(name, content); }
  void RemoveFile(const char* name) const { std::filesystem::remove(Path() / name); }
  // Nothing when there is no such file.
  std::string ReadFile(const std::filesystem::path& relative) const;
  std::vector<std::uint8_t> ReadBytes(const std::filesystem::path& relative) const {
    const std::string content = ReadFile(relative);
    return {content.begin(), content.end()};
  }
  // Names of the files in a folder of it, sorted; none when there is no such folder.
  std::vector<std::string> Files(const std::string& subfolder) const;
  // What all of them hold.
  std::string AllOf(const std::string& subfolder) const;
  // Removes the log folders as far as no logger holds them open.
  void RemoveLogs() const;

 private:
  RunFolder();

  const idcardreader::TemporaryFolder folder;
};

// Where the tests find the shipped files and the source tree, from the environment.
std::filesystem::path StageFolder();
std::filesystem::path SourceFolder();

}  // namespace hosttest
