#include "platform/files.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "platform/posix/descriptors.h"

namespace idcardreader::platform {

namespace {

const char kAnchor = 0;  // its address lies in this module

// Asked while the library is loaded: the loader's own name for it may be relative to the directory
// that was current then.
char libraryFile[PATH_MAX];
const bool libraryFileKnown = [] {
  Dl_info info{};
  return dladdr(&kAnchor, &info) != 0 && realpath(info.dli_fname, libraryFile) != nullptr;
}();

// "rt", "rb", "at", "wb" and "wb+", as fopen takes them.
int OpenFlags(std::string_view mode) {
  if (mode.starts_with('r')) return O_RDONLY;
  if (mode.starts_with('a')) return O_WRONLY | O_CREAT | O_APPEND;
  return O_CREAT | O_TRUNC | (mode.ends_with('+') ? O_RDWR : O_WRONLY);
}

// 0 for a regular file.
int WhyNotRegular(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

File Open(const char* name, const char* mode, mode_t permissions) {
  // Not even the opening waits: a pipe would until somebody opens its other end.
  const int descriptor = AboveStandardStreams(
      open(name, OpenFlags(mode) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, permissions));
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

}  // namespace

std::filesystem::path LibraryFolder() {
  return libraryFileKnown ? std::filesystem::path(libraryFile).parent_path()
                          : std::filesystem::path();
}

std::filesystem::path ExecutableFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

// Our own files may hold personal data, in a folder that is somebody else's.
File OpenFile(const std::filesystem::path& path, const char* mode) {
  return Open(path.c_str(), mode, S_IRUSR | S_IWUSR);
}

File OpenAnsiFile(const char* name, const char* mode) {
  if (name == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  return Open(name, mode, 0666);
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

void CreateFolder(const std::filesystem::path& folder) { mkdir(folder.c_str(), S_IRWXU); }

unsigned long LastSystemError() { return static_cast<unsigned long>(errno); }

bool OutOfDescriptors() { return errno == EMFILE || errno == ENFILE; }

std::string AnsiText(const std::filesystem::path& path) { return path.native(); }

}  // namespace idcardreader::platform
