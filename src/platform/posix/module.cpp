#include "platform/module.h"

#include <dlfcn.h>
#include <link.h>

namespace idcardreader::platform {

namespace {

const char kAnchor = 0;  // its address lies in this module

// The name under which the loader keeps this module; the program itself has an empty one.
const char* OwnName() {
  Dl_info info{};
  void* entry = nullptr;
  if (dladdr1(&kAnchor, &info, &entry, RTLD_DL_LINKMAP) == 0 || entry == nullptr) return nullptr;
  return static_cast<const link_map*>(entry)->l_name;
}

}  // namespace

bool PinModule() {
  const char* name = OwnName();
  if (name == nullptr) return false;
  if (*name == '\0') return true;  // a program is never unloaded
  return dlopen(name, RTLD_NOLOAD | RTLD_NOW) != nullptr;
}

void UnpinModule() {
  const char* name = OwnName();
  if (name == nullptr || *name == '\0') return;
  void* handle = dlopen(name, RTLD_NOLOAD | RTLD_NOW);
  if (handle == nullptr) return;
  dlclose(handle);  // the reference just taken
  dlclose(handle);  // the one that PinModule took
}

// It is shared by the whole process and stays.
void ReleaseLanguageRuntime() {}

}  // namespace idcardreader::platform
