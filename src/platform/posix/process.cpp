#include "platform/process.h"

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

}  // namespace

bool InForkedChild() {
  static const NoteEnding madeAfterTheProgramHadBegun;
  return getpid() != loadedBy;
}

bool ProcessIsEnding() { return ending || !unloading; }

}  // namespace idcardreader::platform
