#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <link.h>

namespace idcardreader::platform {

// Here a library names the place of its dependencies itself, so both ways of searching are one.
std::unique_ptr<DynamicLibrary> DynamicLibrary::Open(const std::string& fileName,
                                                     Dependencies /*search*/) {
  if (fileName.empty()) return nullptr;  // it would stand for the program itself
  void* handle = dlopen(fileName.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return nullptr;
  return std::unique_ptr<DynamicLibrary>(new DynamicLibrary(handle));
}

DynamicLibrary::DynamicLibrary(void* opened) : handle(opened) {}

DynamicLibrary::~DynamicLibrary() {
  if (handle != nullptr) dlclose(handle);
}

void DynamicLibrary::LeaveLoaded() { handle = nullptr; }

void* DynamicLibrary::Symbol(const char* name) const { return dlsym(handle, name); }

std::filesystem::path DynamicLibrary::File() const {
  const link_map* entry = nullptr;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &entry) != 0 || entry == nullptr) return {};
  std::error_code error;
  return std::filesystem::canonical(entry->l_name, error);
}

std::string DynamicLibraryFileName(const std::string& baseName) { return "lib" + baseName + ".so"; }

std::string DynamicLibraryFileName(const std::string& baseName, int interfaceNumber) {
  return DynamicLibraryFileName(baseName) + "." + std::to_string(interfaceNumber);
}

}  // namespace idcardreader::platform
