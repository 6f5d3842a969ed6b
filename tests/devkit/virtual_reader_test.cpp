// The blocking side of the virtual reader: its desk file, its waits and its binary interface.

#include "virtual_reader/virtual_reader.h"

#include <hidapi.h>

#include <cstddef>
#include <future>
#include <thread>

#include "devkit/devkit_test_support.h"
#include "support/temporary_folder.h"
#include "virtual_reader/hid_device_info.h"

namespace devkit {
namespace {

using idcardreader::LinesOf;
using idcardreader::TemporaryFolder;

constexpr unsigned char kVersion[65] = {0, 0x64};

class VirtualReaderTest : public testing::Test {
 protected:
  int Write() { return reader.Write(handle, kVersion, sizeof kVersion); }
  int Read(int milliseconds = 0) {
    return reader.Read(handle, report, sizeof report, milliseconds);
  }

  const TemporaryFolder folder;
  VirtualReader reader{folder.path / "no-desk.json"};  // a reader without a card
  const int handle = reader.Open(0, 0);
  unsigned char report[65] = {};
};

TEST_F(VirtualReaderTest, RefusesOtherIdsOtherSizesAndClosedHandles) {
  unsigned short vendor = 0xC217;
  unsigned short product = 0x0102;
  EXPECT_FALSE(reader.Enumerate(vendor, product));
  vendor = 0xC216;
  EXPECT_TRUE(reader.Enumerate(vendor, product));
  EXPECT_EQ(reader.Open(0xC216, 0x0103), 0);
  EXPECT_EQ(reader.Write(handle, kVersion, 64), -1);
  report[0] = 1;
  EXPECT_EQ(reader.Write(handle, report, 65), -1);
  EXPECT_EQ(Write(), 65);
  EXPECT_EQ(Read(), 64);
  auto waiting = std::async(std::launch::async, [&] { return Read(-1); });
  reader.Close(handle);
  EXPECT_EQ(waiting.get(), -1);
}

TEST_F(VirtualReaderTest, KeepsAJournalOfBoundedSizeWhenTheDeskAsksForOne) {
  EXPECT_EQ(Write(), 65);
  EXPECT_FALSE(std::filesystem::exists(folder.path / "no-desk.json.journal"));

  folder.Write("desk.json", R"({"journal": true})");
  folder.Write("desk.json.journal", std::string(1'000'001, 'x'));
  VirtualReader told(folder.path / "desk.json",
                     {7, [] { return std::filesystem::path("/host/libidcardreader.so"); }});
  const int opened = told.Open(0, 0);
  EXPECT_EQ(told.Write(opened, kVersion, sizeof kVersion), 65);
  EXPECT_EQ(told.Read(opened, report, sizeof report, 0), 64);
  EXPECT_EQ(told.Write(opened, kVersion, sizeof kVersion), 65);
  told.Close(opened);

  std::vector<nlohmann::json> lines;
  for (const std::string& line : LinesOf(folder.path / "desk.json.journal")) {
    lines.push_back(nlohmann::json::parse(line));
    EXPECT_EQ(lines.back()["process"], 7);
    EXPECT_GT(lines.back()["time"], 1'600'000'000'000);
  }
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_EQ(lines[0]["library"], "/host/libidcardreader.so");
  EXPECT_EQ(lines[1]["event"], "open");
  EXPECT_EQ(lines[2]["request"], "version");
  EXPECT_FALSE(lines[2].contains("ms"));
  EXPECT_EQ(lines[3]["number"], lines[2]["number"]);
  EXPECT_EQ(lines[3]["status"], 0);
  EXPECT_EQ(lines[3]["bytes"], 64);
  // The answer that nobody fetched.
  EXPECT_EQ(lines[5]["bytes"], 0);
  EXPECT_EQ(lines[6]["event"], "close");
}

TEST_F(VirtualReaderTest, AReadThatTimedOutFailsOnceItsThreadHasEnded) {
  const auto inThread = [](auto procedure) { std::thread(procedure).join(); };
  inThread([&] { EXPECT_EQ(Read(), 0); });
  EXPECT_EQ(Write(), 65);
  EXPECT_EQ(Read(), -1);
  EXPECT_EQ(Read(), 64) << "nothing is lost";
  // What came while the thread lived is kept.
  inThread([&] {
    EXPECT_EQ(Read(), 0);
    EXPECT_EQ(Write(), 65);
  });
  EXPECT_EQ(Read(), 64);
  // It is no other thread's business.
  EXPECT_EQ(Read(), 0);
  inThread([&] {
    EXPECT_EQ(Read(), 0);
    reader.Close(handle);
  });
  EXPECT_EQ(LinesOf(folder.path / "no-desk.json.log").size(), 1U) << "of that close";
}

TEST(HidapiAbiTest, EnumerationsHaveHidapisLayout) {
  EXPECT_EQ(offsetof(HidDeviceInfo, path), offsetof(hid_device_info, path));
  EXPECT_EQ(offsetof(HidDeviceInfo, vendorId), offsetof(hid_device_info, vendor_id));
  EXPECT_EQ(offsetof(HidDeviceInfo, productId), offsetof(hid_device_info, product_id));
  EXPECT_EQ(offsetof(HidDeviceInfo, serialNumber), offsetof(hid_device_info, serial_number));
  EXPECT_EQ(offsetof(HidDeviceInfo, interfaceNumber), offsetof(hid_device_info, interface_number));
  EXPECT_EQ(offsetof(HidDeviceInfo, next), offsetof(hid_device_info, next));
  EXPECT_EQ(offsetof(HidDeviceInfo, busType), offsetof(hid_device_info, bus_type));
  EXPECT_EQ(sizeof(HidDeviceInfo), sizeof(hid_device_info));
}

}  // namespace
}  // namespace devkit
