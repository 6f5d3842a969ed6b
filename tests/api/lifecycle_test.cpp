// Starting, closing and unloading, from one thread and from several; the faults have the stops.

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "host/host_test.h"
#include "host/output_buffer.h"
#include "host/process_resources.h"
#include "support/redirected_output.h"

namespace hosttest {
namespace {

class LifecycleTest : public HostTest {
 protected:
  // A read that is under way: the service has the card's DN and takes its time over the answer.
  std::future<ReadResult> StartSlowRead() {
    service->ForgetReceived();
    ServiceMisbehaves({{"latency", {{"dn", 700}}}});
    desk.Put(kAnyCard);
    std::future<ReadResult> read = ReadInBackground();
    EXPECT_TRUE(service->WaitForReceived(2, std::chrono::seconds(10)));  // login and DN
    return read;
  }
};

TEST_F(LifecycleTest, WhileAReadRunsOthersAreRefusedAndDoNotDisturbIt) {
  std::future<ReadResult> read = StartSlowRead();
  for (const int mode : {0, 1}) EXPECT_EQ(library->readCardStart(mode), 0);
  EXPECT_EQ(library->readCardInit(), 0);
  EXPECT_EQ(library->readCardSetDeviceType(0), 0);
  char uid[IDCARDREADER_UID_BYTES] = {};
  EXPECT_EQ(library->readCardGetUID(0, uid), 0);
  EXPECT_EQ(Await(read).result, 1) << LastError();
  ExpectRecordOf(CardOf(kAnyCard), *library);
}

TEST_F(LifecycleTest, CloseAndDestoryReleaseAReadThatRuns) {
  for (const auto end : {library->CloseComm, library->readCardDestory}) {
    std::future<ReadResult> read = StartSlowRead();
    EXPECT_EQ(end(), 1);
    EXPECT_EQ(Await(read).result, 0);
    ExpectNoRecord(*library);
    ServiceBehaves();
    ExpectGoodRead("gat");
  }
}

TEST_F(LifecycleTest, DestoryClosesTheReaderAndKeepsTheConfigurationThatCloseReadsAgain) {
  ExpectGoodRead(kAnyCard);
  folder.RemoveFile("hostport.dat");
  for (int count = 0; count < 2; ++count) EXPECT_EQ(library->readCardDestory(), 1);
  desk.Misbehave(FaultAt("enumerate", "no-device"));
  EXPECT_EQ(Read().result, 0) << "the reader was still open";
  ExpectCode(27);
  desk.Behave();
  ExpectGoodRead("gat");
  for (int count = 0; count < 2; ++count) EXPECT_EQ(library->CloseComm(), 1);
  EXPECT_EQ(Read().result, 0);
  ExpectCode(29);
}

TEST_F(LifecycleTest, CloseTakesTheFieldsAndLeavesTheBlocks) {
  ExpectGoodRead(kAnyCard);
  library->CloseComm();
  ExpectNoFields(*library);
  EXPECT_STREQ(library->readCardGetDN(), "");
  OutputBuffer text, none;
  EXPECT_EQ(library->Routon_ReadBaseMsg(text.Data(), &text.length), 1);
  text.ExpectBlock(ExpectedTextBlock(CardOf(kAnyCard)), "text");
  // This one asks for an engine, and there is none.
  EXPECT_EQ(library->SDT_ReadBaseFPMsg(1, none.Data(), &none.length, none.Data(), &none.length,
                                       none.Data(), &none.length),
            IDCARDREADER_SDT_NOTHING_READ);
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
    ExpectBlocksOf(CardOf(kAnyCard), *library);
  }
  over = true;
  bystander.join();
}

TEST_F(LifecycleTest, UnloadedItLeavesNoHandleAndNoMemory) {
  const auto readAndUnload = [this] {
    StartService();
    if (!library) Load();
    desk.Put(kAnyCard);
    EXPECT_EQ(library->readCardStart(0), 1) << LastError();
    library->CloseComm();
    Unload();
    EXPECT_FALSE(IsLoaded(folder.Library()));
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

// The library tells of its progress there; nothing else may be printed meanwhile.
TEST_F(LifecycleTest, ReadsWhetherItsOutputIsTakenOrNot) {
  desk.Put(kAnyCard);
  idcardreader::Pipe withoutReader, full;
  withoutReader.CloseReader();
  ASSERT_TRUE(full.Fill());
  for (const int output : {withoutReader.write, full.write}) {
    int good = 0;
    {
      const idcardreader::RedirectedOutput redirected(output);
      for (int count = 0; count < 3; ++count) good += library->readCardStart(0);
      library->CloseComm();
    }
    EXPECT_EQ(good, 3);
  }
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

// Every function that may run beside others does, from several threads at once; nothing of it may
// bring the library into a state that a good read does not end.
TEST_F(LifecycleTest, EverythingAtOnceEndsAndTheNextReadIsGood) {
  constexpr std::size_t kRounds = 12;
  // How long each round lasts: a few reads, some of them ended by the others.
  constexpr milliseconds kRound(250);
  const auto& l = *library;
  const auto read = [&l] { l.readCardStart(0); };
  // These share no memory of the host's.
  const std::vector<std::function<void()>> always = {
      read, read, [&l] { l.SDT_SelectIDCard(1, nullptr); }, [&l] { l.Read_Content(0); },
      [&l] { l.readCardGetDeviceStatus(); }, [&l] { l.readCardGetCardType(); },
      [&l] { l.GetNewCardType(); }, [&l] { l.readCardBeep(0); }, [&l] { l.HID_BeepLED(1, 1, 10); },
      [&l] { l.readCardSetDeviceType(0); }, [&l] { l.readCardInit(); },
      [&l] {
        char uid[IDCARDREADER_UID_BYTES];
        l.readCardGetUID(0, uid);
      },
      // Those that return texts share one place, so one thread asks for all of them, and for the
      // fields besides.
      [&l] {
        l.readCardErrorInfo(40);
        for (const auto text : {l.readCardGetLastError, l.readCardGetDN, l.readCardGetVersionCode,
                                l.readCardGetAuthorizeCode, l.readCardGetHostDeviceCode,
                                l.readCardGetSdkVersion, l.readCardGetComSet}) {
          text();
        }
        char field[IDCARDREADER_LONG_FIELD_BYTES];
        for (const FieldRow& row : FieldRows()) {
          if (row.pointer != nullptr) (l.*row.pointer)();
          (l.*row.copy)(field);
        }
      }};
  // Each round another one ends what the readers have begun.
  const std::vector<std::function<void()>> disturbances = {
      [] {},
      [&l] { l.readCardStop(); },
      [&l] { l.readCardStart(1); },  // the search
      [&l] { l.Authenticate(); },
      [&l] { l.readCardDestory(); },
      [&l] { l.CloseComm(); },
      [&l] {
        l.readCardLog(1);
        l.readCardLog(0);
      }};
  desk.Put(kAnyCard);
  for (std::size_t round = 0; round < kRounds; ++round) {
    std::vector<std::function<void()>> calls = always;
    calls.push_back(disturbances[round % disturbances.size()]);
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    for (const auto& call : calls) {
      threads.emplace_back([&over, &call] {
        for (; !over; std::this_thread::sleep_for(milliseconds(1))) call();
      });
    }
    std::this_thread::sleep_for(kRound);
    over = true;
    for (std::thread& thread : threads) thread.join();
    library->readCardStop();
    ExpectGoodRead(round % 2 == 0 ? "gat" : kAnyCard);
  }
}

}  // namespace
}  // namespace hosttest
