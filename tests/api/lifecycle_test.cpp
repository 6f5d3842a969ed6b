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

class LifecycleTest : public HostTest {};

TEST_F(LifecycleTest, WhileAReadRunsOthersAreRefusedUntilItEndsOrIsEnded) {
  using End = decltype(library->CloseComm);
  for (const End end : {End(nullptr), library->CloseComm, library->readCardDestory}) {
    service->ForgetReceived();
    ServiceMisbehaves({{"latency", {{"dn", 900}}}});
    desk.Put(kAnyCard);
    std::future<ReadResult> read = ReadInBackground();
    ASSERT_TRUE(service->WaitForReceived(2, std::chrono::seconds(10)));  // login or heartbeat, DN
    for (const int mode : {0, 1}) EXPECT_EQ(library->readCardStart(mode), 0);
    EXPECT_EQ(library->readCardInit(), 0);
    EXPECT_EQ(library->readCardSetDeviceType(0), 0);
    char uid[IDCARDREADER_UID_BYTES] = {};
    EXPECT_EQ(library->readCardGetUID(0, uid), 0);
    if (end == nullptr) {
      EXPECT_EQ(Await(read).result, 1) << LastError();
      ExpectRecordOf(CardOf(kAnyCard), *library);
    } else {
      EXPECT_EQ(end(), 1);
      EXPECT_EQ(Await(read).result, 0);
      ExpectNoRecord(*library);
    }
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
  // Behind a failure, what lies there is not the answer of a reader that is asked who it is.
  desk.Misbehave(FaultAt("open", "stale", {{"count", 3}, {"times", 1}}));
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

TEST_F(LifecycleTest, UnloadedItLeavesNoHandleAndNoMemoryButStaysWhenItWasNotClosed) {
  ExpectGoodRead(kAnyCard);
  Unload();
  EXPECT_TRUE(IsLoaded(folder.Library()));
  Load();
  ExpectGoodRead("gat");
  End();
  const auto rounds = [this](int count) {
    for (; count > 0; --count) {
      StartService();
      Load();
      ExpectGoodRead(kAnyCard);
      End();
      EXPECT_FALSE(IsLoaded(folder.Library()));
    }
    return MeasureProcess();
  };
  // The system's loader takes a few rounds until it needs no more for itself.
  const ProcessResources before = rounds(8), after = rounds(4);
  // The system opens one for itself now and then.
  EXPECT_LE(after.handles, before.handles + 2);
  EXPECT_LE(after.threads, before.threads);
  EXPECT_LE(after.allocatedBytes, before.allocatedBytes + 4 * 1024);
}

// The library tells of its progress there; nothing else may be printed meanwhile.
TEST_F(LifecycleTest, ReadsWhetherItsOutputIsTakenOrNot) {
  desk.Put(kAnyCard);
  idcardreader::Pipe withoutReader, full;
  withoutReader.CloseReader();
  ASSERT_TRUE(full.Fill());
  int good = 0;
  for (const int output : {withoutReader.write, full.write}) {
    const idcardreader::RedirectedOutput redirected(output);
    for (int count = 0; count < 3; ++count) good += library->readCardStart(0);
    library->CloseComm();
  }
  EXPECT_EQ(good, 6);
}

// What may run beside others does, from several threads at once; nothing of it may bring the library
// into a state that a good read does not end.
TEST_F(LifecycleTest, EverythingAtOnceEndsAndTheNextReadIsGood) {
  const auto& l = *library;
  const std::function<void()> read = [&l] { l.readCardStart(0); };
  const std::function<void()> look = [&l] {
    char uid[IDCARDREADER_UID_BYTES];
    l.readCardGetUID(0, uid);
    l.readCardGetCardType();
    l.readCardInit();
    l.readCardBeep(0);
    l.HID_BeepLED(1, 1, 10);
    l.readCardSetDeviceType(0);
  };
  // Those that return texts share one place, so one thread asks for all of them.
  const std::function<void()> fetch = [&l] {
    for (const auto text : {l.readCardGetLastError, l.readCardGetDN, l.readCardGetVersionCode,
                            l.readCardGetComSet, l.GetPeopleName}) {
      text();
    }
    char field[IDCARDREADER_LONG_FIELD_BYTES];
    for (const FieldRow& row : FieldRows()) (l.*row.copy)(field);
  };
  // Each round another one ends what the readers have begun.
  const std::function<void()> disturbances[] = {[] {},
                                                l.readCardStop,
                                                [&l] { l.readCardStart(1); },
                                                l.Authenticate,
                                                l.readCardDestory,
                                                l.CloseComm,
                                                [&l] { l.readCardLog(l.readCardLog(1) - 1); }};
  for (std::size_t round = 0; round < 12; ++round) {
    std::atomic<bool> over = false;
    std::vector<std::future<void>> threads;
    for (const auto& call : {read, read, look, look, fetch, disturbances[round % 7]}) {
      threads.push_back(std::async(std::launch::async, [&over, call] {
        for (; !over; std::this_thread::sleep_for(milliseconds(1))) call();
      }));
    }
    // For a few reads, some of them ended by the others.
    std::this_thread::sleep_for(milliseconds(250));
    over = true;
    threads.clear();
    library->readCardStop();
    ExpectGoodRead(round % 2 == 0 ? "gat" : kAnyCard);
  }
}

}  // namespace
}  // namespace hosttest
