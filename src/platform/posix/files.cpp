#include "platform/files.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/posix/above_standard_streams.h"
#include "platform/posix/held_write_signals.h"

namespace idcardreader::platform {

namespace {

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

int OpenFlags(std::string_view mode) {
  const bool reads = mode.starts_with('r');
  int flags = reads ? O_RDONLY : O_WRONLY | O_CREAT;
  if (mode.find('+') != std::string_view::npos) flags = (flags & O_CREAT) | O_RDWR;
  if (mode.starts_with('w')) flags |= O_TRUNC;
  if (mode.starts_with('a')) flags |= O_APPEND;
  return flags;
}

// 0 for a regular file.
int WhyNotRegular(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
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
  // Not even the opening waits: a pipe would until somebody opens its other end.
  const int descriptor =
      AboveStandardStreams(open(name, OpenFlags(mode) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666));
  if (descriptor < 0) return nullptr;
  int error = WhyNotRegular(descriptor);
  File file(error == 0 ? fdopen(descriptor, mode) : nullptr);
  if (file == nullptr) {
    if (error == 0) error = errno;
    close(descriptor);
    errno = error;
    return nullptr;
  }
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  if (*mode != 'r') std::setvbuf(file.get(), nullptr, _IONBF, 0);
  return file;
}

bool WriteToFile(const File& file, std::string_view bytes) {
  const HeldWriteSignals held;
  return file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
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
