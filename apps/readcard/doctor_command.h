#pragma once

#include "console.h"
#include "options.h"

namespace readcard {

// Looks for what is wrong with the installation, and changes nothing. Returns 0, 1 with warnings, 2
// with faults.
int RunDoctorCommand(const Options& options, Console& console);

}  // namespace readcard
