#pragma once

#include "console.h"
#include "options.h"
#include "platform/installation.h"

namespace readcard {

// Looks for what is wrong with the installation, and changes nothing. Returns 0, 1 with warnings, 2
// with faults.
int RunDoctorCommand(const Options& options, idcardreader::platform::OutputState output,
                     Console& console);

}  // namespace readcard
