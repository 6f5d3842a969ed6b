#include "platform/network_adapters.h"

#include <net/if.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/files.h"
#include "platform/posix/network_adapters.h"

namespace idcardreader::platform {

namespace {

std::string ReadLine(const std::filesystem::path& path) {
  const File file = OpenFile(path, "r");
  char text[256] = {};
  if (file == nullptr || std::fgets(text, sizeof text, file.get()) == nullptr) return {};
  const std::string line = text;
  return line.substr(0, line.find('\n'));
}

// A PCI device has its vendor id itself; what a network card on USB is bound to is one interface of
// the device, and the id stands at the device above it.
std::string VendorId(const std::filesystem::path& device) {
  if (std::string vendor = ReadLine(device / "vendor"); !vendor.empty()) return vendor;
  std::error_code error;
  std::filesystem::path folder = std::filesystem::canonical(device, error);
  if (error) return {};
  for (; folder.has_relative_path(); folder = folder.parent_path()) {
    if (std::string vendor = ReadLine(folder / "idVendor"); !vendor.empty()) return vendor;
  }
  return {};
}

// PCI and USB vendor ids alike.
std::string MakerName(const std::string& vendorId) {
  switch (std::strtoul(vendorId.c_str(), nullptr, 16)) {
    case 0x10EC:
    case 0x0BDA:
      return "Realtek";
    case 0x8086:
    case 0x8087:
      return "Intel";
    case 0x168C:
    case 0x1969:
    case 0x0CF3:
      return "Atheros";
    default:
      return {};
  }
}

// "00:1a:2b:3c:4d:5e"; empty for anything else.
std::vector<std::uint8_t> ParseAddress(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t begin = 0; begin + 2 <= text.size(); begin += 3) {
    const char* const end = text.data() + begin + 2;
    std::uint8_t byte = 0;
    if (std::from_chars(end - 2, end, byte, 16).ptr != end) return {};
    bytes.push_back(byte);
    if (begin + 2 == text.size()) return bytes;
    if (*end != ':') return {};
  }
  return {};
}

}  // namespace

std::optional<NetworkAdapter> ReadNetworkAdapter(const std::filesystem::path& classNet,
                                                 const std::string& interfaceName) {
  const std::filesystem::path folder = classNet / interfaceName;
  NetworkAdapter adapter;
  adapter.address = ParseAddress(ReadLine(folder / "address"));
  const bool hasAddress = std::any_of(adapter.address.begin(), adapter.address.end(),
                                      [](std::uint8_t byte) { return byte != 0; });
  if (!hasAddress) return std::nullopt;
  adapter.description = MakerName(VendorId(folder / "device"));
  return adapter;
}

std::vector<NetworkAdapter> ListNetworkAdapters() {
  const std::unique_ptr<struct if_nameindex, decltype(&if_freenameindex)> interfaces(
      if_nameindex(), &if_freenameindex);
  if (interfaces == nullptr) return {};
  std::map<unsigned, std::string> names;
  for (const struct if_nameindex* entry = interfaces.get(); entry->if_index != 0; ++entry) {
    names[entry->if_index] = entry->if_name;
  }
  std::vector<NetworkAdapter> adapters;
  for (const auto& [index, name] : names) {
    if (auto adapter = ReadNetworkAdapter("/sys/class/net", name)) {
      adapters.push_back(std::move(*adapter));
    }
  }
  return adapters;
}

}  // namespace idcardreader::platform
