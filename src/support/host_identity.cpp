#include "support/host_identity.h"

#include <array>
#include <string_view>

#include "support/text.h"

namespace idcardreader {
namespace {

constexpr std::array<std::string_view, 3> kMakers = {"Realtek", "Intel", "Atheros"};
constexpr std::size_t kLongestAddressText = 255;
constexpr char kNoAddress[] = "pcDevice";

bool MadeByKnownMaker(std::string_view description) {
  for (const std::string_view maker : kMakers) {
    if (description.find(maker) != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

std::string AddressText(const std::vector<std::uint8_t>& address) {
  std::string text;
  for (const std::uint8_t byte : address) {
    text += text.empty() ? "" : "-";
    text += HexText(&byte, 1);
  }
  return text;
}

}  // namespace

std::string HostAddress(const std::vector<platform::NetworkAdapter>& adapters) {
  for (const platform::NetworkAdapter& adapter : adapters) {
    std::string address = AddressText(adapter.address);
    if (address.size() > kLongestAddressText) {
      return {};
    }
    if (MadeByKnownMaker(adapter.description)) {
      return address;
    }
  }
  return {};
}

std::string HostDeviceCode() {
  std::string address = HostAddress(platform::ListNetworkAdapters());
  return address.empty() ? kNoAddress : address;
}

}  // namespace idcardreader
