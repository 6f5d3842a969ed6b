#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace idcardreader::platform {

struct NetworkAdapter {
  std::string description;
  std::vector<std::uint8_t> address;
};

// The network adapters in the order the platform gives them: GetAdaptersInfo of Iphlpapi.dll,
// loaded for the call, on Windows; interface index order on Linux, each described by the maker of
// its PCI or USB vendor id (10EC and 0BDA "Realtek", 8086 and 8087 "Intel", 168C, 1969 and 0CF3
// "Atheros") and by an empty text for any other. Empty when the platform does not tell.
std::vector<NetworkAdapter> ListNetworkAdapters();

}  // namespace idcardreader::platform
