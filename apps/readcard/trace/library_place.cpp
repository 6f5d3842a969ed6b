#include "trace/library_place.h"

#ifdef _WIN32
// clang-format off
#include <windows.h>
// clang-format on
#include <string>
#else
#include <dlfcn.h>

#include <system_error>
#endif

namespace readcard::trace {

#ifdef _WIN32

std::filesystem::path FolderOf(const void* function) {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<const wchar_t*>(function), &module)) {
    return {};
  }
  std::wstring name(0x8000, L'\0');  // the longest path there can be
  name.resize(GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size())));
  return std::filesystem::path(name).parent_path();
}

#else

std::filesystem::path FolderOf(const void* function) {
  Dl_info info{};
  if (dladdr(function, &info) == 0) return {};
  std::error_code error;
  return std::filesystem::canonical(info.dli_fname, error).parent_path();
}

#endif

}  // namespace readcard::trace
