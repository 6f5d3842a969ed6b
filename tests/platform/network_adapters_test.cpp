#include "platform/network_adapters.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <filesystem>
#include <fstream>

#include "platform/posix/network_adapters_sysfs.h"
#endif

namespace idcardreader::platform {
namespace {

TEST(ListNetworkAdapters, GivesTheSameAnswerTwice) {
  const auto first = ListNetworkAdapters();
  const auto second = ListNetworkAdapters();
  ASSERT_EQ(first.size(), second.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_EQ(first[i].description, second[i].description);
    EXPECT_EQ(first[i].address, second[i].address);
  }
}

#ifndef _WIN32

namespace fs = std::filesystem;

void WriteLine(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text << '\n';
}

// A tree like the kernel's: class/net/<name> beside the devices that it points to.
class SysfsAdapterTest : public testing::Test {
 public:
  SysfsAdapterTest() {
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    root = fs::current_path() / (std::string("sysfs-") + test.name());
    fs::remove_all(root);
  }
  ~SysfsAdapterTest() override { fs::remove_all(root); }

 protected:
  void AddInterface(const std::string& name, const std::string& address) {
    WriteLine(ClassNet() / name / "address", address);
  }
  void AddPciDevice(const std::string& name, const std::string& vendor) {
    const fs::path device = root / "devices/pci0000:00/0000:00:19.0";
    WriteLine(device / "vendor", vendor);
    fs::create_directory_symlink(device, ClassNet() / name / "device");
  }
  void AddUsbDevice(const std::string& name, const std::string& vendor) {
    const fs::path controller = root / "devices/pci0000:00/0000:00:14.0";
    WriteLine(controller / "vendor", "0x8086");
    const fs::path hub = controller / "usb1";
    WriteLine(hub / "idVendor", "1d6b");
    const fs::path device = hub / "1-2";
    WriteLine(device / "idVendor", vendor);
    fs::create_directories(device / "1-2:1.0");
    fs::create_directory_symlink(device / "1-2:1.0", ClassNet() / name / "device");
  }

  fs::path ClassNet() const { return root / "class/net"; }

  std::string Description(const std::string& name) const {
    const auto adapter = ReadNetworkAdapter(ClassNet(), name);
    return adapter ? adapter->description : "(none)";
  }

  fs::path root;
};

TEST_F(SysfsAdapterTest, ReadsTheAddress) {
  AddInterface("eth0", "00:1a:2B:3c:4d:5e");
  const auto adapter = ReadNetworkAdapter(ClassNet(), "eth0");
  ASSERT_TRUE(adapter);
  EXPECT_EQ(adapter->address, (std::vector<std::uint8_t>{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}));
  EXPECT_EQ(adapter->description, "") << "it has no device";
}

TEST_F(SysfsAdapterTest, LeavesOutWhatHasNoHardwareAddress) {
  for (const char* address : {"00:00:00:00:00:00", "", "00:1a:2", "001a2b3c4d5e", "no address"}) {
    AddInterface("lo", address);
    EXPECT_FALSE(ReadNetworkAdapter(ClassNet(), "lo")) << address;
  }
  EXPECT_FALSE(ReadNetworkAdapter(ClassNet(), "missing"));
}

TEST_F(SysfsAdapterTest, NamesTheMakersOfPciCards) {
  const std::pair<const char*, const char*> makers[] = {
      {"0x10ec", "Realtek"}, {"0x8086", "Intel"}, {"0x168c", "Atheros"},
      {"0x1969", "Atheros"}, {"0x1af4", ""},      {"0x0cf3", "Atheros"},
  };
  for (const auto& [vendor, maker] : makers) {
    fs::remove_all(root);
    AddInterface("eth0", "00:1a:2b:3c:4d:5e");
    AddPciDevice("eth0", vendor);
    EXPECT_EQ(Description("eth0"), maker) << vendor;
  }
}

TEST_F(SysfsAdapterTest, NamesTheMakerOfAUsbCardAndNotOfTheControllerAboveIt) {
  const std::pair<const char*, const char*> makers[] = {
      {"0bda", "Realtek"}, {"8087", "Intel"}, {"0cf3", "Atheros"}, {"0b95", ""}};
  for (const auto& [vendor, maker] : makers) {
    fs::remove_all(root);
    AddInterface("usb0", "00:1a:2b:3c:4d:5e");
    AddUsbDevice("usb0", vendor);
    EXPECT_EQ(Description("usb0"), maker) << vendor;
  }
}

#endif

}  // namespace
}  // namespace idcardreader::platform
