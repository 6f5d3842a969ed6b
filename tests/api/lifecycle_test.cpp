// Starting, stopping, closing and unloading, from one thread and from several.

#include <atomic>
#include <thread>

#include "host/host_test.h"
#include "host/loaded_modules.h"
#include "host/process_resources.h"

namespace hosttest {
namespace {

using nlohmann::json;

class LifecycleTest : public HostTest {
 protected:
  // A read that is under way: the service has the card's DN and takes its time over the answer.
  std::future<ReadResult> StartSlowRead() {
    ServiceMisbehaves({{"latency", {{"dn", 700}}}});
    desk.Put(kAnyCard);
    std::future<ReadResult> read = ReadInBackground();
    EXPECT_TRUE(service->WaitForReceived(2, std::chrono::seconds(10)));  // login and DN
    return read;
  }

  ReadResult Await(std::future<ReadResult>& read) {
    if (read.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
      ADD_FAILURE() << "The read does not end";
      library->readCardStop();
    }
    return read.get();
  }
};

TEST_F(LifecycleTest, StopReleasesAReadThatWaitsForTheService) {
  std::future<ReadResult> read = StartSlowRead();
  const auto stopped = std::chrono::steady_clock::now();
  library->readCardStop();
  EXPECT_EQ(Await(read).result, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, milliseconds(500));
  ExpectNoRecord(*library);
  ServiceBehaves();
  ExpectGoodRead("gat");
}

TEST_F(LifecycleTest, StopReleasesAReadThatWaitsForTheReader) {
  desk.Put(kAnyCard);
  desk.Misbehave({{"faults", json::array({{{"at", "input-key"}, {"fault", "drop"}}})}});
  std::future<ReadResult> read = ReadInBackground();
  ASSERT_TRUE(service->WaitForReceived(2, std::chrono::seconds(10)));
  library->readCardStop();
  EXPECT_EQ(Await(read).result, 0);
  desk.Behave();
  ExpectGoodRead("gat");
}

TEST_F(LifecycleTest, StopAndStartAtOnceNeverYieldsTheFirstCard) {
  for (int round = 0; round < 3; ++round) {
    service->ForgetReceived();
    ServiceMisbehaves({{"latency", {{"sector-21", 200}}}});
    desk.Put(kAnyCard);
    std::future<ReadResult> read = ReadInBackground();
    ASSERT_TRUE(service->WaitForReceived(7, std::chrono::seconds(10)));
    library->readCardStop();
    EXPECT_EQ(Await(read).result, 0);
    ServiceBehaves();
    ExpectGoodRead("gat");
  }
}

TEST_F(LifecycleTest, WhileAReadRunsOthersAreRefusedAndDoNotDisturbIt) {
  std::future<ReadResult> read = StartSlowRead();
  EXPECT_EQ(library->readCardStart(0), 0);
  EXPECT_EQ(library->readCardInit(), 0);
  EXPECT_EQ(library->readCardSetDeviceType(0), 0);
  char uid[IDCARDREADER_UID_BYTES] = {};
  EXPECT_EQ(library->readCardGetUID(0, uid), 0);
  EXPECT_EQ(Await(read).result, 1) << LastError();
  ExpectRecordOf(CardOf(kAnyCard), *library);
}

TEST_F(LifecycleTest, CloseDuringAReadReleasesIt) {
  std::future<ReadResult> read = StartSlowRead();
  EXPECT_EQ(library->CloseComm(), 1);
  ASSERT_EQ(read.wait_for(std::chrono::seconds(0)), std::future_status::ready)
      << "CloseComm returned while a read was running";
  EXPECT_EQ(read.get().result, 0);
  ExpectNoRecord(*library);
  ServiceBehaves();
  ExpectGoodRead("gat");
}

TEST_F(LifecycleTest, DestoryDuringAReadReleasesIt) {
  std::future<ReadResult> read = StartSlowRead();
  EXPECT_EQ(library->readCardDestory(), 1);
  EXPECT_EQ(Await(read).result, 0);
  ServiceBehaves();
  ExpectGoodRead("gat");
}

TEST_F(LifecycleTest, ReadsAgainAfterDestoryAndAfterClose) {
  ExpectGoodRead(kAnyCard);
  EXPECT_EQ(library->readCardDestory(), 1);
  EXPECT_EQ(library->readCardDestory(), 1);
  ExpectGoodRead("gat");
  EXPECT_EQ(library->CloseComm(), 1);
  EXPECT_EQ(library->CloseComm(), 1);
  ExpectGoodRead(kAnyCard);
}

TEST_F(LifecycleTest, DestoryKeepsTheConfigurationAndCloseReadsItAgain) {
  ExpectGoodRead(kAnyCard);
  folder.RemoveFile("hostport.dat");
  library->readCardDestory();
  ExpectGoodRead("gat");
  library->CloseComm();
  desk.Put(kAnyCard);
  EXPECT_EQ(Read().result, 0);
}

TEST_F(LifecycleTest, CloseTakesTheFieldsAndLeavesTheBlocks) {
  ExpectGoodRead(kAnyCard);
  library->CloseComm();
  ExpectNoFields(*library);
  EXPECT_STREQ(library->readCardGetDN(), "");
  devkit::Bytes text(IDCARDREADER_TEXT_BLOCK_BYTES), photo(IDCARDREADER_PHOTO_BLOCK_BYTES);
  std::uint32_t textLength = 0, photoLength = 0;
  EXPECT_EQ(library->SDT_ReadBaseMsg(1, text.data(), &textLength, photo.data(), &photoLength),
            IDCARDREADER_SDT_SUCCESS);
  EXPECT_EQ(text, ExpectedTextBlock(CardOf(kAnyCard)));
  // This one asks for an engine, and there is none.
  EXPECT_EQ(FetchBlocks(*library).result, IDCARDREADER_SDT_NOTHING_READ);
}

TEST_F(LifecycleTest, FieldsGoTwoSecondsAfterTheReadAndBlocksStay) {
  ExpectGoodRead(kAnyCard);
  const auto ended = std::chrono::steady_clock::now();
  EXPECT_TRUE(Eventually([this] { return library->GetNewCardType() == 0; }, milliseconds(5000)));
  const auto after = std::chrono::steady_clock::now() - ended;
  EXPECT_GT(after, milliseconds(1900));
  EXPECT_LT(after, milliseconds(3000));
  const Blocks blocks = FetchBlocks(*library);
  EXPECT_EQ(blocks.text, ExpectedTextBlock(CardOf(kAnyCard)));
  EXPECT_EQ(blocks.photo, ExpectedPhoto(CardOf(kAnyCard)));
  ExpectNoFields(*library);
  EXPECT_TRUE(LastError().starts_with(Gbk("监测到读卡流程超时")));
  ExpectGoodRead("gat");
}

TEST_F(LifecycleTest, TwoThreadsThatStartAtOnceNeverMixTheirReads) {
  desk.Put(kAnyCard);
  for (int round = 0; round < 3; ++round) {
    std::future<ReadResult> one = ReadInBackground();
    std::future<ReadResult> other = ReadInBackground();
    const int succeeded = Await(one).result + Await(other).result;
    EXPECT_GE(succeeded, 1) << LastError();
    ExpectFieldsOf(CardOf(kAnyCard), *library);
  }
}

// Whoever only looks at the reader neither ends a read nor takes what it has brought.
TEST_F(LifecycleTest, BystandersDoNotDisturbAReadUntilItsCallerHasLeft) {
  ExpectGoodRead(kAnyCard);
  std::atomic<bool> over = false;
  std::thread bystander([&] {
    char uid[IDCARDREADER_UID_BYTES] = {};
    while (!over) {
      library->readCardInit();
      library->readCardGetUID(2, uid);  // fails: the card is of another type
      library->HID_BeepLED(1, 1, 10);
    }
  });
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(library->readCardStart(0), 1) << LastError();
    devkit::Bytes text(IDCARDREADER_TEXT_BLOCK_BYTES);
    std::uint32_t length = 0;
    EXPECT_EQ(library->SDT_ReadBaseMsg(1, text.data(), &length, nullptr, nullptr),
              IDCARDREADER_SDT_SUCCESS);
    EXPECT_EQ(text, ExpectedTextBlock(CardOf(kAnyCard)));
  }
  over = true;
  bystander.join();
}

TEST_F(LifecycleTest, InitAndDestoryAtOnceComeToAnEnd) {
  desk.Put(kAnyCard);
  library->readCardSetDeviceType(0);
  std::thread initialising([this] {
    for (int round = 0; round < 100; ++round) library->readCardInit();
  });
  for (int round = 0; round < 100; ++round) library->readCardDestory();
  initialising.join();
  ExpectGoodRead("gat");
}

TEST_F(LifecycleTest, UnloadsAfterCloseAndLoadsAgain) {
  for (int round = 0; round < 3; ++round) {
    ExpectGoodRead(kAnyCard);
    library->CloseComm();
    Unload();
    EXPECT_FALSE(IsLoaded(folder.Library()));
    Load();
  }
}

TEST_F(LifecycleTest, UnloadedItLeavesNoHandleAndNoMemory) {
  const auto readAndUnload = [this] {
    StartService();
    if (!library) Load();
    desk.Put(kAnyCard);
    EXPECT_EQ(library->readCardStart(0), 1) << LastError();
    library->CloseComm();
    Unload();
    StopService();
  };
  // The system's loader takes a few rounds until it needs no more for itself.
  StopService();
  for (int i = 0; i < 8; ++i) readAndUnload();
  const ProcessResources before = MeasureProcess();
  for (int i = 0; i < 4; ++i) readAndUnload();
  const ProcessResources after = MeasureProcess();
  // The system opens one for itself now and then.
  EXPECT_LE(after.handles, before.handles + 2);
  EXPECT_LE(after.threads, before.threads);
  EXPECT_LE(after.allocatedBytes, before.allocatedBytes + 4 * 1024)
      << before.allocatedBytes << " bytes before";
}

TEST_F(LifecycleTest, UnloadedWithoutCloseItStaysAndGoesOnWorking) {
  ExpectGoodRead(kAnyCard);
  Unload();
  EXPECT_TRUE(IsLoaded(folder.Library()));
  Load();
  ExpectGoodRead("gat");
  library->CloseComm();
  Unload();
  EXPECT_FALSE(IsLoaded(folder.Library()));
}

}  // namespace
}  // namespace hosttest
