#pragma once

#include "console.h"
#include "options.h"

namespace readcard {

// Reads one card with the library's logging on and shows what took how long. Returns the exit
// status of a read.
int RunTraceCommand(const Options& options, Console& console);

}  // namespace readcard
