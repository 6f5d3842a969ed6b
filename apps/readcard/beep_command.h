#pragma once

#include "console.h"
#include "host_library.h"
#include "options.h"

namespace readcard {

// Sounds the reader. Returns the exit status.
int RunBeepCommand(const HostLibrary& library, const Options& options, Console& console);

}  // namespace readcard
