#include "platform/files.h"

#include <cerrno>

#include "platform/network_adapters.h"
#include "stand_ins/stand_ins.h"

// Takes the place of the platform's files and network adapters: a run neither reads nor writes the
// disk.

namespace fuzz {

std::map<std::string, std::string>& Files() {
  static std::map<std::string, std::string> files;
  return files;
}

}  // namespace fuzz

namespace idcardreader::platform {

std::filesystem::path LibraryFolder() { return "/library"; }
std::filesystem::path ExecutableFolder() { return "/host"; }

File OpenFile(const std::filesystem::path& path, const char* mode) {
  const auto found = fuzz::Files().find(path.filename().string());
  if (mode[0] != 'r' || found == fuzz::Files().end()) {
    errno = ENOENT;
    return nullptr;
  }
  return File(fmemopen(found->second.data(), found->second.size(), "r"));
}

File OpenAnsiFile(const char* name, const char* mode) { return OpenFile(name, mode); }
bool WriteToFile(const File&, std::string_view) { return true; }
bool AnsiFileExists(const char*) { return false; }
void RemoveAnsiFile(const char*) {}
void CreateFolder(const std::filesystem::path&) {}
unsigned long LastSystemError() { return static_cast<unsigned long>(errno); }
bool OutOfDescriptors() { return false; }
std::string AnsiText(const std::filesystem::path& path) { return path.native(); }

std::vector<NetworkAdapter> ListNetworkAdapters() { return {}; }

}  // namespace idcardreader::platform
