// The blocking side of the virtual reader: its desk file, its waits and its binary interface.

#include "virtual_reader/virtual_reader.h"

#include <hidapi.h>

#include <cstddef>
#include <cstring>
#include <future>

#include "devkit/devkit_test_support.h"
#include "virtual_reader/hid_device_info.h"

namespace devkit {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class VirtualReaderTest : public testing::Test {
 protected:
  VirtualReaderTest() {
    std::filesystem::create_directories(folder);
    WriteFile("one.json", R"({"type": "iden", "chip": {"seed": 1, "uid": "0101010101010101"}})");
    WriteFile("two.json", R"({"type": "iden", "chip": {"seed": 2, "uid": "0202020202020202"}})");
    std::filesystem::remove(folder / "desk.json");
  }

  void WriteFile(const std::string& name, const std::string& text) {
    // Renamed into place, as everybody should who changes a desk that is in use.
    std::ofstream(folder / "draft") << text;
    // While the reader looks at the old file, Windows refuses to replace it.
    std::error_code busy;
    do {
      std::filesystem::rename(folder / "draft", folder / name, busy);
    } while (busy);
  }
  void WriteDesk(const std::string& text) { WriteFile("desk.json", text); }

  int Send(std::initializer_list<unsigned char> request) {
    unsigned char report[65] = {};
    std::copy(request.begin(), request.end(), report + 1);
    return reader.Write(handle, report, sizeof(report));
  }

  std::string Receive(int limit) {
    unsigned char report[65];
    const int count = reader.Read(handle, report, sizeof(report), limit);
    return count > 0 ? ToHex({report, static_cast<std::size_t>(count)}).substr(0, 20)
                     : std::to_string(count);
  }

  void Open() { handle = reader.Open(0xC216, 0x0102); }

  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      ("virtual-reader-test-" +
       std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
  VirtualReader reader{folder / "desk.json"};
  int handle = 0;
};

TEST_F(VirtualReaderTest, WithoutADeskFileThereIsAReaderAndNoCard) {
  unsigned short vendor = 0xC216;
  unsigned short product = 0x0102;
  EXPECT_TRUE(reader.Enumerate(vendor, product));
  Open();
  ASSERT_GT(handle, 0);
  EXPECT_EQ(Send({0x06}), 65);
  EXPECT_EQ(Receive(0).substr(0, 4), "0603");
}

TEST_F(VirtualReaderTest, OtherIdsFindNothing) {
  unsigned short vendor = 0xC217;
  unsigned short product = 0x0102;
  EXPECT_FALSE(reader.Enumerate(vendor, product));
  EXPECT_EQ(reader.Open(0xC216, 0x0103), 0);
}

TEST_F(VirtualReaderTest, TheCardCanBeChangedBetweenCommands) {
  WriteDesk(R"({"card": "one.json"})");
  Open();
  Send({0x0C});
  EXPECT_EQ(Receive(0), "0C000101010101010101");
  WriteDesk(R"({"card": "two.json"})");
  Send({0x0C});
  EXPECT_EQ(Receive(0), "0C000202020202020202");
  WriteDesk(R"({"card": null})");
  Send({0x0C});
  EXPECT_EQ(Receive(0).substr(0, 4), "0C03");
}

TEST_F(VirtualReaderTest, AWaitNoticesACardThatIsPutOnTheDesk) {
  WriteDesk(R"({"card": null})");
  Open();
  Send({0x01, 0x01});
  EXPECT_EQ(Receive(0).substr(0, 4), "0100");
  auto report = std::async(std::launch::async, [this] { return Receive(10000); });
  WriteDesk(R"({"card": "one.json"})");
  EXPECT_EQ(report.get(), "01100801010101010101");
}

TEST_F(VirtualReaderTest, AWaitEndsWithItsTimeOut) {
  Open();
  const auto start = steady_clock::now();
  EXPECT_EQ(Receive(50), "0");
  EXPECT_GE(steady_clock::now() - start, milliseconds(50));
}

TEST_F(VirtualReaderTest, AWaitEndsWhenTheHandleIsClosed) {
  Open();
  auto report = std::async(std::launch::async, [this] { return Receive(-1); });
  reader.Close(handle);
  EXPECT_EQ(report.get(), "-1");
  EXPECT_EQ(Send({0x06}), -1);
}

TEST_F(VirtualReaderTest, AnUnpluggedReaderFailsItsHandle) {
  WriteDesk(R"({"card": "one.json"})");
  Open();
  WriteDesk(R"({"card": "one.json", "plugged": false})");
  EXPECT_EQ(Send({0x06}), -1);
  EXPECT_EQ(Receive(1000), "-1");
  unsigned short vendor = 0;
  unsigned short product = 0;
  EXPECT_FALSE(reader.Enumerate(vendor, product));
  WriteDesk(R"({"card": "one.json"})");
  EXPECT_TRUE(reader.Enumerate(vendor, product));
  EXPECT_EQ(Send({0x06}), -1);
  Open();
  EXPECT_EQ(Send({0x06}), 65);
}

TEST_F(VirtualReaderTest, AChangedDeskStartsTheFaultsAgain) {
  const std::string desk = R"({"card": "one.json", "scenario": {"reader": {"faults": [
      {"at": "uid", "fault": "status", "status": 9, "times": 1}]}}, "serial": )";
  WriteDesk(desk + "1}");
  Open();
  for (const char* answer : {"0C09", "0C00"}) {
    Send({0x0C});
    EXPECT_EQ(Receive(0).substr(0, 4), answer);
  }
  WriteDesk(desk + "2}");
  Send({0x0C});
  EXPECT_EQ(Receive(0).substr(0, 4), "0C09");
}

TEST_F(VirtualReaderTest, ReportsOfAnotherSizeAreRefused) {
  Open();
  const unsigned char report[65] = {0, 0x06};
  EXPECT_EQ(reader.Write(handle, report, 64), -1);
  const unsigned char withId[65] = {1, 0x06};
  EXPECT_EQ(reader.Write(handle, withId, 65), -1);
}

TEST_F(VirtualReaderTest, WrongDesksAreToldAndChangeNothing) {
  WriteDesk(R"({"card": "one.json"})");
  DeskFile file(folder / "desk.json");
  EXPECT_TRUE(file.Look());
  EXPECT_FALSE(file.Look());
  WriteDesk(R"({"crad": "two.json"})");
  EXPECT_FALSE(file.Look());
  EXPECT_EQ(file.TakeComplaint(), "");
  EXPECT_FALSE(file.Look());
  EXPECT_NE(file.TakeComplaint().find("unknown member \"crad\" (allowed: card,"),
            std::string::npos);
  EXPECT_FALSE(file.Look());
  EXPECT_EQ(file.TakeComplaint(), "");
  WriteDesk(R"({"card": "two.json"})");
  EXPECT_TRUE(file.Look());
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
