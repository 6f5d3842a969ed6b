#include "host/loaded_modules.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace hosttest {

#ifdef _WIN32

bool IsLoaded(const std::filesystem::path& library) {
  return GetModuleHandleW(library.c_str()) != nullptr;
}

#else

bool IsLoaded(const std::filesystem::path& library) {
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

#endif

}  // namespace hosttest
