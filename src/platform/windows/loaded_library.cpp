#include "platform/loaded_library.h"

#include <windows.h>

namespace idcardreader::platform {

std::filesystem::path LoadedLibraryFile(const std::string& baseName) {
  const HMODULE module = GetModuleHandleA((baseName + ".dll").c_str());
  if (module == nullptr) return {};
  constexpr DWORD kLongestPath = 32768;
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = GetModuleFileNameW(module, path.data(), kLongestPath);
  path.resize(length < kLongestPath ? length : 0);
  return path;
}

unsigned long ProcessNumber() { return GetCurrentProcessId(); }

}  // namespace idcardreader::platform
