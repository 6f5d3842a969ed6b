#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace devkit {

// Where the shipped parts lie. Empty where there is none.
struct ShippedParts {
  std::filesystem::path cards;
  std::filesystem::path scenarios;
  std::filesystem::path virtualReader;  // its file
  std::filesystem::path library;        // its file
  std::filesystem::path readcard;       // its file
};

// As they are staged, packed for Windows or installed by the Debian packages, seen from the folder of
// this program; devkit, when not empty, names the folder "devkit" itself. Throws FileError when there
// are no cards and scenarios.
ShippedParts FindShippedParts(const std::filesystem::path& programFolder,
                              const std::filesystem::path& devkit);

// The folder that a desk works in: cards and scenarios, copied once, so that the shipped ones stay as
// they are; the desk file; and whatever a host needs beside it, so that a loader's path to this folder
// makes any program read from this desk.
class WorkingFolder {
 public:
  // A new temporary folder when the path is empty. Throws std::filesystem::filesystem_error.
  explicit WorkingFolder(const std::filesystem::path& given);

  void Fill(const ShippedParts& parts) const;
  // The data files by which the library finds the service.
  void WriteDataFiles(std::uint16_t servicePort) const;
  // Removes the folder if it is a temporary one.
  void RemoveIfTemporary() const;

  const std::filesystem::path& Path() const { return path; }
  std::filesystem::path DeskFile() const { return path / "virtual-reader.json"; }
  // The line that starts a program at this desk.
  std::string StartLine() const;

 private:
  std::filesystem::path path;
  bool temporary = false;
};

// Writes a new file and renames it into place. Throws std::system_error.
void WriteWholeFile(const std::filesystem::path& file, const std::string& content);

}  // namespace devkit
