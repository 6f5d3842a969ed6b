#include "platform/process.h"

#include <unistd.h>

namespace idcardreader::platform {

namespace {

const pid_t loadedBy = getpid();

// The system runs this before the destructors of static objects when it unloads the library, and
// behind them when the process ends.
bool unloading = false;
__attribute__((destructor)) void NoteUnloading() { unloading = true; }

}  // namespace

bool InForkedChild() { return getpid() != loadedBy; }

bool ProcessIsEnding() { return !unloading; }

}  // namespace idcardreader::platform
