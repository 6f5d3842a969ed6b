// The tree in which Linux describes network cards.
#ifndef _WIN32

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/posix/network_adapters_sysfs.h"

namespace idcardreader::platform {
namespace {

namespace fs = std::filesystem;

// A tree like the kernel's: class/net/<name> beside the devices that it points to.
class SysfsAdapterTest : public testing::Test {
 public:
  SysfsAdapterTest() { fs::remove_all(root); }
  ~SysfsAdapterTest() override { fs::remove_all(root); }

 protected:
  void Write(const fs::path& path, const std::string& text) const {
    fs::create_directories((root / path).parent_path());
    std::ofstream(root / path) << text << '\n';
  }
  // What the one interface is taken for; `device`, where there is one, is what it points to.
  std::optional<NetworkAdapter> Adapter(const std::string& address, const fs::path& device = {}) {
    const fs::path classNet = root / "class/net";
    Write("class/net/eth0/address", address);
    if (!device.empty()) {
      fs::remove(classNet / "eth0/device");
      fs::create_directories(root / device);
      fs::create_directory_symlink(root / device, classNet / "eth0/device");
    }
    return ReadNetworkAdapter(classNet, "eth0");
  }

  const fs::path root =
      fs::current_path() /
      (std::string("sysfs-") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

constexpr char kAddress[] = "00:1a:2B:3c:4d:5e";

TEST_F(SysfsAdapterTest, NeedsAnAddress) {
  for (const char* none : {"00:00:00:00:00:00", "", "00:1a:2", "001a2b3c4d5e", "no address"}) {
    EXPECT_FALSE(Adapter(none)) << none;
  }
  EXPECT_FALSE(ReadNetworkAdapter(root / "class/net", "missing"));
  const auto adapter = Adapter(kAddress);
  ASSERT_TRUE(adapter);
  EXPECT_EQ(adapter->address, (std::vector<std::uint8_t>{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}));
  EXPECT_EQ(adapter->description, "") << "it has no device";
}

TEST_F(SysfsAdapterTest, NamesTheMakerOfTheCardAndNotOfTheControllerAboveIt) {
  const std::pair<const char*, const char*> pciCards[] = {
      {"0x10ec", "Realtek"}, {"0x8086", "Intel"}, {"0x168c", "Atheros"},
      {"0x1969", "Atheros"}, {"0x1af4", ""},      {"0x0cf3", "Atheros"}};
  for (const auto& [vendor, maker] : pciCards) {
    Write("devices/pci0/0000:00:19.0/vendor", vendor);
    EXPECT_EQ(Adapter(kAddress, "devices/pci0/0000:00:19.0")->description, maker) << vendor;
  }
  Write("devices/pci0/0000:00:14.0/vendor", "0x8086");
  Write("devices/pci0/0000:00:14.0/usb1/idVendor", "1d6b");
  const std::pair<const char*, const char*> usbCards[] = {
      {"0bda", "Realtek"}, {"8087", "Intel"}, {"0cf3", "Atheros"}, {"0b95", ""}};
  for (const auto& [vendor, maker] : usbCards) {
    Write("devices/pci0/0000:00:14.0/usb1/1-2/idVendor", vendor);
    EXPECT_EQ(Adapter(kAddress, "devices/pci0/0000:00:14.0/usb1/1-2/1-2:1.0")->description, maker)
        << vendor;
  }
}

}  // namespace
}  // namespace idcardreader::platform

#endif
