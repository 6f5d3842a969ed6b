#include "platform/process.h"

#include <malloc.h>

#include "platform/windows/handles.h"

namespace {

bool processIsEnding = false;

}  // namespace

// Called by the language's start-up code, before it destroys static objects.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_DETACH) processIsEnding = reserved != nullptr;
  return TRUE;
}

// The runtime's own, offered to memory checkers: it has no header.
namespace __gnu_cxx {
void __freeres();
}

// The linker's description of what belongs to each thread.
extern "C" const IMAGE_TLS_DIRECTORY64 _tls_used;

namespace idcardreader::platform {

bool InForkedChild() { return false; }

bool ProcessIsEnding() { return processIsEnding; }

HMODULE OwnModule(bool addReference) {
  const DWORD flags =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
      (addReference ? 0 : static_cast<DWORD>(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT));
  HMODULE module = nullptr;
  const auto address = reinterpret_cast<LPCWSTR>(&OwnModule);
  return GetModuleHandleExW(flags, address, &module) != 0 ? module : nullptr;
}

void PinModule() { OwnModule(true); }

void UnpinModule() {
  if (const HMODULE module = OwnModule(false)) FreeLibrary(module);
}

// Each library linked with a runtime of its own has its own reserve of 70 KB for exceptions, and its
// own record, with two handles, of every thread that has called it. The record goes when the thread
// ends, or it would with the library still there: so the thread that unloads it says farewell now.
void ReleaseLanguageRuntime() {
  __gnu_cxx::__freeres();
  const auto* callback = reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(_tls_used.AddressOfCallBacks);
  for (; *callback != nullptr; ++callback) {
    (*callback)(OwnModule(false), DLL_THREAD_DETACH, nullptr);
  }
}

std::size_t HeapBlockSize(void* block) { return _msize(block); }

}  // namespace idcardreader::platform
