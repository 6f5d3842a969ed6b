#include "platform/files.h"

#include <dlfcn.h>
#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace idcardreader::platform {

namespace {

// Frees what is left on the way out without touching the error that the caller will ask for.
class KeepErrno {
 public:
  KeepErrno() : error(errno) {}
  ~KeepErrno() { errno = error; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  int error;
};

// A file that was replaced or removed while it runs is reported with this addition.
std::filesystem::path WithoutDeletedMark(std::string name) {
  constexpr std::string_view kMark = " (deleted)";
  struct stat status {};
  if (name.ends_with(kMark) && stat(name.c_str(), &status) != 0) {
    name.resize(name.size() - kMark.size());
  }
  return name;
}

// The file that the kernel has mapped at an address. Unlike the name that dlopen was given, it is
// absolute, so that it stays true when the host changes its current directory.
std::filesystem::path MappedFile(std::uintptr_t address) {
  const File maps = OpenFile("/proc/self/maps", "r");
  if (maps == nullptr) return {};
  std::filesystem::path found;
  char* line = nullptr;
  std::size_t capacity = 0;
  ssize_t length = 0;
  while (found.empty() && (length = getline(&line, &capacity, maps.get())) > 0) {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    if (std::sscanf(line, "%" SCNxPTR "-%" SCNxPTR, &begin, &end) != 2) continue;
    if (address < begin || address >= end) continue;
    std::string_view text(line, static_cast<std::size_t>(length));
    if (text.ends_with('\n')) text.remove_suffix(1);
    const std::size_t start = text.find('/');
    if (start == std::string_view::npos) break;
    found = WithoutDeletedMark(std::string(text.substr(start)));
  }
  std::free(line);
  return found;
}

std::filesystem::path LinkedFile(const void* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
  const std::unique_ptr<char, decltype(&std::free)> absolute(realpath(info.dli_fname, nullptr),
                                                             &std::free);
  return absolute == nullptr ? std::filesystem::path(info.dli_fname)
                             : std::filesystem::path(absolute.get());
}

bool IsFolder(const char* name) {
  struct stat status {};
  return stat(name, &status) == 0 && S_ISDIR(status.st_mode);
}

const char kAnchor = 0;  // its address lies in this module

}  // namespace

std::filesystem::path LibraryFolder() {
  const std::filesystem::path mapped = MappedFile(reinterpret_cast<std::uintptr_t>(&kAnchor));
  return (mapped.empty() ? LinkedFile(&kAnchor) : mapped).parent_path();
}

std::filesystem::path ExecutableFolder() {
  std::string target(256, '\0');
  while (true) {
    const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
    if (length < 0) return {};
    if (static_cast<std::size_t>(length) < target.size()) {
      target.resize(static_cast<std::size_t>(length));
      return WithoutDeletedMark(std::move(target)).parent_path();
    }
    target.resize(target.size() * 2);
  }
}

File OpenFile(const std::filesystem::path& path, const char* mode) {
  return OpenAnsiFile(path.c_str(), mode);
}

File OpenAnsiFile(const char* name, const char* mode) {
  if (name == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  const std::string closedInChildren = std::string(mode) + 'e';
  File file(std::fopen(name, closedInChildren.c_str()));
  struct stat status {};
  // The C library opens a folder for reading and fails at the first read only.
  if (file != nullptr && fstat(fileno(file.get()), &status) == 0 && S_ISDIR(status.st_mode)) {
    file.reset();
    errno = EISDIR;
  }
  const KeepErrno keep;
  return file;
}

bool AnsiFileExists(const char* name) {
  struct stat status {};
  return name != nullptr && stat(name, &status) == 0;
}

void RemoveAnsiFile(const char* name) { unlink(name); }

bool CreateFolder(const std::filesystem::path& folder) {
  constexpr mode_t kOwnerOnly = S_IRWXU;
  if (mkdir(folder.c_str(), kOwnerOnly) == 0) return true;
  if (errno != EEXIST) return false;
  if (IsFolder(folder.c_str())) return true;
  errno = EEXIST;
  return false;
}

unsigned long LastSystemError() { return static_cast<unsigned long>(errno); }

bool OutOfDescriptors() { return errno == EMFILE || errno == ENFILE; }

std::string AnsiText(const std::filesystem::path& path) { return path.native(); }

}  // namespace idcardreader::platform
