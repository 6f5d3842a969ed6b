#include "platform/network_adapters.h"

#include <net/if.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/files.h"
#include "platform/posix/network_adapters_sysfs.h"

namespace idcardreader::platform {

namespace {

struct Maker {
  unsigned vendor;
  std::string_view name;
};

// PCI and USB vendor ids alike.
constexpr Maker kMakers[] = {
    {0x10EC, "Realtek"}, {0x0BDA, "Realtek"}, {0x8086, "Intel"},   {0x8087, "Intel"},
    {0x168C, "Atheros"}, {0x1969, "Atheros"}, {0x0CF3, "Atheros"},
};

std::string ReadLine(const std::filesystem::path& path) {
  const File file = OpenFile(path, "r");
  char text[256] = {};
  if (file == nullptr || std::fgets(text, sizeof text, file.get()) == nullptr) return {};
  std::string line = text;
  while (line.ends_with('\n')) line.pop_back();
  return line;
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

std::string MakerName(const std::string& vendorId) {
  const unsigned long vendor = std::strtoul(vendorId.c_str(), nullptr, 16);
  for (const Maker& maker : kMakers) {
    if (maker.vendor == vendor) return std::string(maker.name);
  }
  return {};
}

int HexDigit(char letter) {
  if (letter >= '0' && letter <= '9') return letter - '0';
  if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
  if (letter >= 'A' && letter <= 'F') return letter - 'A' + 10;
  return -1;
}

// "00:1a:2b:3c:4d:5e"; empty for anything else.
std::vector<std::uint8_t> ParseAddress(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 3) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    const bool last = i + 2 == text.size();
    if (high < 0 || low < 0 || (!last && text[i + 2] != ':')) return {};
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    if (last) return bytes;
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
  std::vector<std::pair<unsigned, std::string>> names;
  for (const struct if_nameindex* entry = interfaces.get(); entry->if_index != 0; ++entry) {
    names.emplace_back(entry->if_index, entry->if_name);
  }
  std::sort(names.begin(), names.end());
  std::vector<NetworkAdapter> adapters;
  for (const auto& [index, name] : names) {
    if (auto adapter = ReadNetworkAdapter("/sys/class/net", name)) {
      adapters.push_back(std::move(*adapter));
    }
  }
  return adapters;
}

}  // namespace idcardreader::platform
