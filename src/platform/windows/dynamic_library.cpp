#include "platform/dynamic_library.h"

#include <windows.h>

namespace idcardreader::platform {

std::unique_ptr<DynamicLibrary> DynamicLibrary::Open(const std::string& fileName,
                                                     Dependencies search) {
  const HMODULE module =
      search == Dependencies::default_search
          ? LoadLibraryA(fileName.c_str())
          : LoadLibraryExA(fileName.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) return nullptr;
  return std::unique_ptr<DynamicLibrary>(new DynamicLibrary(module));
}

DynamicLibrary::DynamicLibrary(void* opened) : handle(opened) {}

DynamicLibrary::~DynamicLibrary() {
  if (handle != nullptr) FreeLibrary(static_cast<HMODULE>(handle));
}

void DynamicLibrary::LeaveLoaded() { handle = nullptr; }

void* DynamicLibrary::Symbol(const char* name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

std::filesystem::path DynamicLibrary::File() const {
  std::wstring name(0x8000, L'\0');  // the longest path there can be
  name.resize(GetModuleFileNameW(static_cast<HMODULE>(handle), name.data(),
                                 static_cast<DWORD>(name.size())));
  return name;
}

std::string DynamicLibraryFileName(const std::string& baseName) { return baseName + ".dll"; }

std::string DynamicLibraryFileName(const std::string& baseName, int) {
  return DynamicLibraryFileName(baseName);
}

}  // namespace idcardreader::platform
