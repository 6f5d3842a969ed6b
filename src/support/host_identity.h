#pragma once

#include <string>
#include <vector>

#include "platform/network_adapters.h"

namespace idcardreader {

// The hardware address that identifies this machine to the service, "00-1A-2B-3C-4D-5E": that of
// the first adapter, in the order given, made by Realtek, Intel or Atheros. Empty when there is
// none.
std::string HostAddress(const std::vector<platform::NetworkAdapter>& adapters);

// The device number of this machine: its address, else "pcDevice".
std::string HostDeviceCode();

}  // namespace idcardreader
