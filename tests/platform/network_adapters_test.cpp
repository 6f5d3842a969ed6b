// The tree in which Linux describes network cards.
#ifndef _WIN32

#include "platform/posix/network_adapters.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/bytes.h"
#include "support/temporary_folder.h"

namespace idcardreader::platform {
namespace {

namespace fs = std::filesystem;

constexpr char kAddress[] = "00:1a:2B:3c:4d:5e";

// A tree like the kernel's: class/net/<name> beside the devices that it points to.
class SysfsAdapterTest : public testing::Test {
 protected:
  void Write(const fs::path& path, const std::string& text) const {
    fs::create_directories((root.path / path).parent_path());
    std::ofstream(root.path / path) << text << '\n';
  }
  std::optional<NetworkAdapter> Adapter(const std::string& address) const {
    Write("class/net/eth0/address", address);
    return ReadNetworkAdapter(root.path / "class/net", "eth0");
  }
  // Of a card that is this device.
  std::string Maker(const fs::path& device) const {
    fs::create_directories(root.path / device);
    fs::remove(root.path / "class/net/eth0/device");
    fs::create_directory_symlink(root.path / device, root.path / "class/net/eth0/device");
    return Adapter(kAddress)->description;
  }

  const TemporaryFolder root;
};

TEST_F(SysfsAdapterTest, NeedsAnAddress) {
  for (const char* none : {"00:00:00:00:00:00", "", "00:1a:2", "001a2b3c4d5e", "no address"}) {
    EXPECT_FALSE(Adapter(none)) << none;
  }
  EXPECT_FALSE(ReadNetworkAdapter(root.path, "missing"));
  EXPECT_EQ(Adapter(kAddress)->address, Bytes("001A2B3C4D5E"));
  EXPECT_EQ(Adapter(kAddress)->description, "") << "it has no device";
}

TEST_F(SysfsAdapterTest, NamesTheMakerOfTheCardAndNotOfTheControllerAboveIt) {
  Write("class/net/eth0/address", kAddress);
  const std::pair<const char*, const char*> pciCards[] = {
      {"0x10ec", "Realtek"}, {"0x8086", "Intel"}, {"0x168c", "Atheros"},
      {"0x1969", "Atheros"}, {"0x1af4", ""},      {"0x0cf3", "Atheros"}};
  for (const auto& [vendor, maker] : pciCards) {
    Write("pci0/19.0/vendor", vendor);
    EXPECT_EQ(Maker("pci0/19.0"), maker) << vendor;
  }
  Write("pci0/14.0/vendor", "0x8086");
  Write("pci0/14.0/usb1/idVendor", "1d6b");
  const std::pair<const char*, const char*> usbCards[] = {
      {"0bda", "Realtek"}, {"8087", "Intel"}, {"0cf3", "Atheros"}, {"0b95", ""}};
  for (const auto& [vendor, maker] : usbCards) {
    Write("pci0/14.0/usb1/1-2/idVendor", vendor);
    EXPECT_EQ(Maker("pci0/14.0/usb1/1-2/1-2:1.0"), maker) << vendor;
  }
}

}  // namespace
}  // namespace idcardreader::platform

#endif
