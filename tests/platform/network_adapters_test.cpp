// The tree in which Linux describes network cards.
#ifndef _WIN32

#include "platform/posix/network_adapters.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/bytes.h"
#include "support/temporary_folder.h"

namespace idcardreader::platform {
namespace {

namespace fs = std::filesystem;

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

  const TemporaryFolder root;
};

TEST_F(SysfsAdapterTest, NeedsAnAddress) {
  for (const char* none : {"00:00:00:00:00:00", "", "00:1a:2", "001a2b3c4d5e", "no address"}) {
    EXPECT_FALSE(Adapter(none)) << none;
  }
  EXPECT_FALSE(ReadNetworkAdapter(root.path, "missing"));
  EXPECT_EQ(Adapter("00:1a:2B:3c:4d:5e")->address, Bytes("001A2B3C4D5E"));
  EXPECT_EQ(Adapter("00:1a:2B:3c:4d:5e")->description, "") << "it has no device";
}

TEST_F(SysfsAdapterTest, NamesTheMakerOfTheCardAndNotOfTheControllerAboveIt) {
  Write("class/net/eth0/address", "00:1a:2B:3c:4d:5e");
  Write("pci0/14.0/vendor", "0x8086");
  Write("pci0/14.0/usb1/idVendor", "1d6b");
  constexpr char kPci[] = "pci0/19.0/vendor";
  constexpr char kUsb[] = "pci0/14.0/usb1/1-2/idVendor";
  const struct {
    const char* file;
    const char* vendor;
    const char* maker;
  } rows[] = {{kPci, "0x10ec", "Realtek"}, {kPci, "0x8086", "Intel"}, {kPci, "0x168c", "Atheros"},
              {kPci, "0x1969", "Atheros"}, {kPci, "0x1af4", ""},      {kPci, "0x0cf3", "Atheros"},
              {kUsb, "0bda", "Realtek"},   {kUsb, "8087", "Intel"},   {kUsb, "0cf3", "Atheros"},
              {kUsb, "0b95", ""}};
  const fs::path link = root.path / "class/net/eth0/device";
  for (const auto& [file, vendor, maker] : rows) {
    Write(file, vendor);
    const fs::path device = file == kPci ? "pci0/19.0" : "pci0/14.0/usb1/1-2/1-2:1.0";
    fs::create_directories(root.path / device);
    fs::remove(link);
    fs::create_directory_symlink(root.path / device, link);
    EXPECT_EQ(ReadNetworkAdapter(root.path / "class/net", "eth0")->description, maker) << vendor;
  }
}

}  // namespace
}  // namespace idcardreader::platform

#endif
