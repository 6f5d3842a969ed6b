#pragma once

#include "console.h"
#include "host_library.h"
#include "options.h"

namespace readcard {

// Prints the number of the card's chip. Returns the exit status.
int RunUidCommand(const HostLibrary& library, const Options& options, Console& console);

// The number in hexadecimal digits; empty without a card.
std::string FetchUid(const HostLibrary& library);

}  // namespace readcard
