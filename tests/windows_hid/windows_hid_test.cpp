// Cards through Windows' own side of a USB reader: the shipped library and the real hidapi.dll, on a
// HID device of the system with the devkit's reader behind it. scripts/test-windows-hid runs it.

#include <cstdlib>
#include <thread>

#include "host/host_test.h"

namespace hosttest {
namespace {

using std::chrono::seconds;

constexpr int kSearch = 1;
constexpr seconds kPatience(60);  // the machine is emulated

class WindowsHidTest : public HostTest {
 protected:
  void SetUp() override {
    const char* const deskFolder = std::getenv("IDCARDREADER_KERNEL_DESK");
    ASSERT_NE(deskFolder, nullptr) << "run by scripts/test-windows-hid";
    HostTest::SetUp();
    desk = Desk(deskFolder);
    desk.Plug();
    library->readCardGetSdkVersion();  // creates the engine
    ASSERT_TRUE(ReaderComes()) << LastError();
  }

  bool ReaderComes() const {
    return Eventually([this] { return library->readCardInit() == 1; }, kPatience);
  }

  int SearchInNewThread() const {
    return std::async(std::launch::async, library->readCardStart, kSearch).get();
  }
};

// What follows a search that has found nothing: another one, and from the third on a read.
TEST_F(WindowsHidTest, ReadsCardsAndEachSearchMayComeFromANewThread) {
  ExpectGoodRead("yjznew");
  for (int i = 0; i < 4; ++i) {
    desk.TakeCardAway();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(SearchInNewThread(), 0);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, milliseconds(900));
    EXPECT_EQ(library->readCardGetDeviceStatus(), 1) << LastError();
    if (i >= 2) ExpectGoodRead(kAnyCard);
  }
  desk.Put(kAnyCard);
  EXPECT_TRUE(Eventually([this] { return SearchInNewThread() == 1; }, seconds(10))) << LastError();
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
  ExpectGoodRead("gat");
}

TEST_F(WindowsHidTest, UnpluggedInTheMidstOfAFileAndPluggedInAgain) {
  desk.Misbehave({{"latency", {{"file-13", 80}}}});  // which takes one and a half seconds
  desk.Put(kAnyCard);
  std::future<ReadResult> read = ReadInBackground();
  ASSERT_TRUE(service->WaitForReceived(5, kPatience));  // up to sector 12
  desk.Unplug();
  EXPECT_EQ(Await(read).result, 0);
  ExpectCode(47);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 3);
  ExpectNoRecord(*library);
  EXPECT_TRUE(Eventually(
      [this] {
        return Read().result == 0 && LastError().starts_with(library->readCardErrorInfo(27));
      },
      kPatience))
      << LastError();
  desk.Behave();
  desk.Plug();
  EXPECT_TRUE(ReaderComes()) << LastError();
  ExpectGoodRead("gat");
}

}  // namespace
}  // namespace hosttest
