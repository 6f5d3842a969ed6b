#include "platform/process.h"

#include <windows.h>

namespace {

bool processIsEnding = false;

}  // namespace

// Called by the language's start-up code, before it destroys static objects.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_DETACH) processIsEnding = reserved != nullptr;
  return TRUE;
}

namespace idcardreader::platform {

bool InForkedChild() { return false; }

bool ProcessIsEnding() { return processIsEnding; }

}  // namespace idcardreader::platform
