#pragma once

#include <string>
#include <vector>

#include "card_record.h"
#include "host_library.h"

namespace readcard {

// One of the families of functions by which hosts read cards.
struct ReadInterface {
  const char* name;
  bool (*read)(const HostLibrary& library);
  // To be called at once after a read that succeeded.
  CardRecord (*fetch)(const HostLibrary& library);
};

std::vector<std::string> ReadInterfaceNames();
// For one of those names.
const ReadInterface& FindReadInterface(const std::string& name);

}  // namespace readcard
