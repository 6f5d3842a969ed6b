#pragma once

#include "console.h"
#include "host_library.h"
#include "options.h"

namespace readcard {

// Prints each card that is presented, until the program is interrupted. Returns the exit status.
int RunWatchCommand(const HostLibrary& library, const Options& options, Console& console);

}  // namespace readcard
