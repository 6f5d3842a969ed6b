#include "platform/network_adapters.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/host_identity.h"

#ifndef _WIN32
#include "platform/posix/network_adapters.h"
#include "support/temporary_folder.h"
#endif

namespace idcardreader::platform {
namespace {

TEST(HostIdentity, IsTheFirstAdapterOfAKnownMaker) {
  using Adapter = NetworkAdapter;
  const Adapter other{"intel REALTEK Athero", Bytes("112233445566")};
  const Adapter intel{"Intel(R) PRO/1000", Bytes("001A2B3C4D5E")};
  const Adapter realtek{"Realtek PCIe GbE", Bytes("AABBCCDDEEFF")};
  const Adapter atheros{"an Atheros card", Bytes("0102")};
  // An address whose text takes more than 255 bytes ends the search.
  const Adapter longest{"", std::vector<std::uint8_t>(85)};
  const Adapter tooLong{"", std::vector<std::uint8_t>(86)};
  const std::pair<std::vector<Adapter>, const char*> rows[] = {
      {{other, intel, realtek}, "00-1A-2B-3C-4D-5E"},  // the makers are not ranked
      {{realtek, intel}, "AA-BB-CC-DD-EE-FF"},
      {{longest, atheros}, "01-02"},
      {{tooLong, atheros}, ""},
      {{other}, ""},
      {{{"Intel", {}}, realtek}, ""}};
  for (const auto& [adapters, address] : rows) EXPECT_EQ(HostAddress(adapters), address);
}

#ifndef _WIN32

// The tree in which Linux describes network cards: class/net/<name> beside the devices that it points to.
TEST(SysfsAdapter, HasAnAddressAndTheMakerOfTheCardAndNotOfTheControllerAboveIt) {
  namespace fs = std::filesystem;
  const TemporaryFolder root;
  const fs::path net = root.path / "class/net";
  const fs::path link = net / "eth0/device";
  constexpr char kPci[] = "pci0/19.0";
  constexpr char kUsb[] = "pci0/14.0/usb1/1-2/1-2:1.0";
  for (const auto& folder : {net / "eth0", root.path / kPci, root.path / kUsb}) {
    fs::create_directories(folder);
  }
  root.Write("pci0/14.0/vendor", "0x8086\n");
  root.Write("pci0/14.0/usb1/idVendor", "1d6b\n");
  EXPECT_FALSE(ReadNetworkAdapter(net, "missing"));
  for (const char* none : {"00:00:00:00:00:00", "", "00:1a:2", "001a2b3c4d5e", "no address"}) {
    root.Write("class/net/eth0/address", none);
    EXPECT_FALSE(ReadNetworkAdapter(net, "eth0")) << none;
  }
  root.Write("class/net/eth0/address", "00:1a:2B:3c:4d:5e\n");
  EXPECT_EQ(ReadNetworkAdapter(net, "eth0")->address, Bytes("001A2B3C4D5E"));
  EXPECT_EQ(ReadNetworkAdapter(net, "eth0")->description, "") << "it has no device";
  const struct {
    const char* device;
    const char* vendor;
    const char* maker;
  } rows[] = {{kPci, "0x10ec", "Realtek"}, {kPci, "0x8086", "Intel"}, {kPci, "0x168c", "Atheros"},
              {kPci, "0x1969", "Atheros"}, {kPci, "0x1af4", ""},      {kPci, "0x0cf3", "Atheros"},
              {kUsb, "0bda", "Realtek"},   {kUsb, "8087", "Intel"},   {kUsb, "0cf3", "Atheros"},
              {kUsb, "0b95", ""}};
  for (const auto& [device, vendor, maker] : rows) {
    root.Write(device == kPci ? "pci0/19.0/vendor" : "pci0/14.0/usb1/1-2/idVendor",
               std::string(vendor) + '\n');
    fs::remove(link);
    fs::create_directory_symlink(root.path / device, link);
    EXPECT_EQ(ReadNetworkAdapter(net, "eth0")->description, maker) << vendor;
  }
}

#endif

}  // namespace
}  // namespace idcardreader::platform
