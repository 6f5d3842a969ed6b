#include "platform/module.h"

#include <windows.h>

#include "platform/windows/own_module.h"

// The runtime's own, offered to memory checkers: it has no header.
namespace __gnu_cxx {
void __freeres();
}

namespace idcardreader::platform {

HMODULE OwnModule(bool addReference) {
  const DWORD flags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
      (addReference ? 0 : static_cast<DWORD>(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT));
  HMODULE module = nullptr;
  const auto address = reinterpret_cast<LPCWSTR>(&OwnModule);
  return GetModuleHandleExW(flags, address, &module) != 0 ? module : nullptr;
}

bool PinModule() { return OwnModule(true) != nullptr; }

void UnpinModule() {
  if (const HMODULE module = OwnModule(false)) FreeLibrary(module);
}

// Each library linked with a runtime of its own has its own reserve of 70 KB for exceptions.
void ReleaseLanguageRuntime() { __gnu_cxx::__freeres(); }

}  // namespace idcardreader::platform
