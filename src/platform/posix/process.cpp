#include "platform/process.h"

#include <dlfcn.h>
#include <link.h>
#include <malloc.h>
#include <unistd.h>

namespace idcardreader::platform {

namespace {

const pid_t loadedBy = getpid();

// The system runs this before the destructors of static objects when it unloads the library. When
// the process ends it comes behind those that were made after the program had begun, and before
// those that were made earlier, as all are in a library that the program names as needed.
bool unloading = false;
__attribute__((destructor)) void NoteUnloading() { unloading = true; }

bool ending = false;
struct NoteEnding {
  ~NoteEnding() { ending = !unloading; }
};

const char kAnchor = 0;  // its address lies in this module

// One more reference to this module; null in a program, which is never unloaded.
void* OwnModule() {
  Dl_info info{};
  void* entry = nullptr;
  if (dladdr1(&kAnchor, &info, &entry, RTLD_DL_LINKMAP) == 0 || entry == nullptr) return nullptr;
  const char* name = static_cast<const link_map*>(entry)->l_name;
  return *name == '\0' ? nullptr : dlopen(name, RTLD_NOLOAD | RTLD_NOW);
}

}  // namespace

bool InForkedChild() {
  static const NoteEnding madeAfterTheProgramHadBegun;
  return getpid() != loadedBy;
}

bool ProcessIsEnding() { return ending || !unloading; }

void PinModule() { OwnModule(); }

void UnpinModule() {
  void* const module = OwnModule();
  if (module == nullptr) return;
  dlclose(module);  // the reference just taken
  dlclose(module);  // the one that PinModule took
}

// It is shared by the whole process and stays.
void ReleaseLanguageRuntime() {}

std::size_t HeapBlockSize(void* block) { return malloc_usable_size(block); }

}  // namespace idcardreader::platform
