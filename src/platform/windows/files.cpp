#include "platform/files.h"

#include <errno.h>
#include <io.h>
#include <windows.h>

#include <string>

#include "platform/windows/handles.h"

namespace idcardreader::platform {

namespace {

// Frees what is left on the way out without touching the error that the caller will ask for.
class KeepLastError {
 public:
  KeepLastError() : error(GetLastError()) {}
  ~KeepLastError() { SetLastError(error); }
  KeepLastError(const KeepLastError&) = delete;
  KeepLastError& operator=(const KeepLastError&) = delete;

 private:
  DWORD error;
};

std::filesystem::path ModuleFolder(HMODULE module) {
  constexpr std::size_t kLongestPath = 0x8000;
  for (std::wstring name(MAX_PATH, L'\0'); name.size() <= kLongestPath;
       name.resize(name.size() * 2)) {
    const DWORD length = GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
    if (length == 0) return {};
    if (length == name.size()) continue;  // cut off
    name.resize(length);
    return std::filesystem::path(name).parent_path();
  }
  return {};
}

// The form in which the system takes a path of any length. CreateDirectoryW already balks when no
// room is left for a file of 12 characters in the folder, so the limit is taken there.
std::wstring SystemPath(const std::filesystem::path& path) {
  constexpr std::size_t kShortEnough = MAX_PATH - 12;
  const std::wstring& text = path.native();
  if (text.size() < kShortEnough || !path.is_absolute() || text.starts_with(L"\\\\?\\")) {
    return text;
  }
  // In this form the system no longer understands forward slashes and dots.
  const std::wstring plain = path.lexically_normal().make_preferred().native();
  if (plain.starts_with(L"\\\\")) return L"\\\\?\\UNC" + plain.substr(1);
  return L"\\\\?\\" + plain;
}

constexpr char kNotInherited = 'N';

File OnDisk(std::FILE* opened, char mode) {
  File file(opened);
  if (file == nullptr) {
    // The language's library has fewer streams than the system has handles. Not every make of it
    // says that none is left.
    if (errno == 0) errno = EMFILE;
    return file;
  }
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(opened)));
  if (GetFileType(handle) != FILE_TYPE_DISK) {
    file.reset();
    SetLastError(ERROR_INVALID_PARAMETER);
  } else if (mode != 'r') {
    std::setvbuf(opened, nullptr, _IONBF, 0);
  }
  return file;
}

}  // namespace

std::filesystem::path LibraryFolder() { return ModuleFolder(OwnModule(false)); }

std::filesystem::path ExecutableFolder() { return ModuleFolder(nullptr); }

File OpenFile(const std::filesystem::path& path, const char* mode) {
  const std::wstring name = SystemPath(path);
  std::wstring fullMode(mode, mode + std::char_traits<char>::length(mode));
  fullMode += static_cast<wchar_t>(kNotInherited);
  errno = 0;
  File file = OnDisk(_wfopen(name.c_str(), fullMode.c_str()), *mode);
  const KeepLastError keep;
  return file;
}

File OpenAnsiFile(const char* name, const char* mode) {
  if (name == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const std::string fullMode = std::string(mode) + kNotInherited;
  errno = 0;
  File file = OnDisk(std::fopen(name, fullMode.c_str()), *mode);
  const KeepLastError keep;
  return file;
}

bool WriteToFile(const File& file, std::string_view bytes) {
  return file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}

bool AnsiFileExists(const char* name) {
  return name != nullptr && GetFileAttributesA(name) != INVALID_FILE_ATTRIBUTES;
}

void RemoveAnsiFile(const char* name) { DeleteFileA(name); }

void CreateFolder(const std::filesystem::path& folder) {
  CreateDirectoryW(SystemPath(folder).c_str(), nullptr);
}

unsigned long LastSystemError() { return GetLastError(); }

bool OutOfDescriptors() {
  return errno == EMFILE || errno == ENFILE || GetLastError() == ERROR_TOO_MANY_OPEN_FILES;
}

// Not path::string(), which yields UTF-8 with this compiler.
std::string AnsiText(const std::filesystem::path& path) {
  const std::wstring& text = path.native();
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  const int needed =
      WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(needed), '\0');
  WideCharToMultiByte(CP_ACP, 0, text.data(), length, bytes.data(), needed, nullptr, nullptr);
  return bytes;
}

}  // namespace idcardreader::platform
