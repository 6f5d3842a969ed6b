#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/network_adapters.h"

namespace idcardreader::platform {

// What a folder laid out like /sys/class/net tells of one interface. Nothing for an interface that
// has no hardware address (the loopback, tunnels).
std::optional<NetworkAdapter> ReadNetworkAdapter(const std::filesystem::path& classNet,
                                                 const std::string& interfaceName);

}  // namespace idcardreader::platform
