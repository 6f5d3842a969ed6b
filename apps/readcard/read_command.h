#pragma once

#include "console.h"
#include "host_library.h"
#include "options.h"

namespace readcard {

// Reads the card on the reader, as often as asked for, and prints each. Returns the exit status.
int RunReadCommand(const HostLibrary& library, const Options& options, Console& console);

}  // namespace readcard
