#include "engine/reader_engine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "reader/scripted_reader.h"
#include "service/scripted_service.h"
#include "support/eventually.h"
#include "support/logs.h"
#include "support/status_codes.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

const auto Reply = ScriptedReader::Reply;

// A scripted reader and a scripted service, told of by these lines.
struct World {
  explicit World(const std::string& hostPort) {
    folder.Write("appid.dat", "label\t5AEA11D9172C2416150C6EE84628080D04\n");  // 0123456789
    folder.Write("hostport.dat", hostPort);
  }

  const TemporaryFolder folder;
  ScriptedSockets sockets;
  ScriptedService service{sockets};
  ScriptedReader reader;
  TestClock clock;
  EngineBackends backends{reader, sockets, clock, folder.path, folder.path};
};

std::future<bool> ReadInBackground(ReaderEngine& engine) {
  return std::async(std::launch::async, [&engine] { return engine.ReadCardStartRead(); });
}
bool Await(std::future<bool>& read, ReaderEngine& engine) {
  if (read.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    ADD_FAILURE() << "nobody has released the caller";
    engine.StopRead();
  }
  return read.get();
}

// The whole engine with its own read thread.
class ReaderEngineTest : public testing::Test, public World {
 protected:
  ReaderEngineTest() : World("label\t01383F280263DC52D24CD747\n") {}  // h=1.2.3.4:5

  bool Read() {
    std::future<bool> read = ReadInBackground(engine);
    return Await(read, engine);
  }
  // A read that waits for the service, which has been sent so many messages by then.
  std::future<bool> ReadUntilSent(std::size_t count) {
    const std::size_t before = sockets.Sent().size();
    std::future<bool> read = ReadInBackground(engine);
    EXPECT_TRUE(sockets.AwaitSent(before + count));
    return read;
  }
  // Until a pass of the read thread has begun and ended.
  void AwaitPass() {
    const std::uint32_t before = clock.sleptMs;
    EXPECT_TRUE(Eventually([&] { return clock.sleptMs - before >= 10; }));
  }
  bool Failed(std::int32_t code) { return engine.GetLastErrorText().starts_with(StatusText(code)); }
  std::string Name() { return engine.GetResultText(ResultItem::name); }

  ReaderEngine engine{backends};
};

TEST_F(ReaderEngineTest, AStopEndsAReadWhereverItIs) {
  const struct {
    const char* dn;
    std::uint8_t command;
    int report;  // of this command, which a stop precedes
    std::size_t sent;
    const char* commands;
  } rows[] = {{"0600", 0x06, 1, 0, "30 64 06"},
              {"0603", 0x06, 1, 0, "30 64 06"},  // a stopped read does not try again
              {"0600", 0x0B, 2, 3, "30 64 06 07 08 0B11"}};
  for (const auto& row : rows) {
    const std::size_t sentBefore = sockets.Sent().size();
    reader.written.clear();
    reader.Script(0x06, {Reply(row.dn)});
    int reports = 0;
    reader.onRead = [&](std::uint8_t command) {
      if (command == row.command && ++reports == row.report) engine.StopRead();
    };
    ErrorLog().Log("of before");
    EXPECT_FALSE(Read());
    EXPECT_EQ(engine.GetLastErrorText(), "");
    engine.ExitEngine();  // then all has come to its end
    EXPECT_EQ(reports, row.report);
    EXPECT_EQ(reader.Commands(), row.commands);
    EXPECT_EQ(sockets.Sent().size() - sentBefore, row.sent);
  }
  reader.onRead = nullptr;
  EXPECT_TRUE(Read());
}

TEST_F(ReaderEngineTest, AFailedStepGivesTheCallerItsCode) {
  const struct {
    std::uint8_t command;
    ScriptedReader::Reports reports;
    std::int32_t code;
  } rows[] = {{0x06, {Reply("0603")}, ERRORT_ReadDn},
              {0x07, {Reply("0500"), Reply("0500")}, ERRORT_ReaderAnswer},  // without a code
              {0x08, {Reply("0803")}, ERRORT_ReaderStatus + 3},
              {0x0B, {ScriptedReader::kLost}, ERRORT_ReaderLost}};
  for (const auto& row : rows) {
    ASSERT_TRUE(Read());
    EXPECT_NE(engine.DnHex(), "");
    for (int attempt = 0; attempt < 2; ++attempt) reader.Script(row.command, row.reports);
    EXPECT_FALSE(Read());
    ASSERT_TRUE(Failed(row.code)) << row.code << engine.GetLastErrorText();
    EXPECT_EQ(engine.DnHex().empty(), row.command == 0x06) << "of the card before";
    EXPECT_EQ(Name(), "");
    reader.scripts.clear();
  }
}

// What the platform refuses ends as the code of a service that is not to be had, with the cause
// behind it; the next read tries anew.
TEST_F(ReaderEngineTest, WithoutASocketTheCauseStandsBehindTheCode) {
  std::string wanted(StatusText(ERRORT_ServiceLink));
  wanted += StatusText(ERRORT_SocketInit);
  sockets.creates = false;
  EXPECT_FALSE(Read());
  EXPECT_TRUE(engine.GetLastErrorText().starts_with(wanted)) << engine.GetLastErrorText();
  EXPECT_TRUE(sockets.Sent().empty());
  sockets.creates = true;
  EXPECT_TRUE(Read()) << engine.GetLastErrorText();
}

TEST_F(ReaderEngineTest, WhatWasLeftBehindARefusedReadIsDrained) {
  service.answers["dn2"] = wire::kAcknowledgement;
  EXPECT_FALSE(Read());
  service.answers["dn2"] = wire::InputKeyAnswer();
  reader.pending.assign(3, Reply("0600 EE"));
  for (const bool serial : {true, false}) EXPECT_TRUE(engine.SetDeviceType(serial));
  EXPECT_TRUE(Read()) << "with its codes read anew";
  EXPECT_EQ(engine.KnownReader().authorizeCode, "A1A2A3A4A5A6");
}

// First for the answer that is awaited, then, counted anew, for somebody to collect what it brought;
// in both the ticks may wrap.
TEST_F(ReaderEngineTest, AReadWaitsForTheSecondsThatTheReaderHas) {
  service.answers.erase("BB21_2");
  for (const auto& [startTick, milliseconds] :
       {std::pair{0xFFFFFF00U, 2000U}, {0xFFFFF448U, 2000U}, {1000U, 3000U}}) {
    const bool patient = milliseconds == 3000;
    EXPECT_EQ(patient && engine.SetDeviceType(false), patient);
    clock.ticks = startTick;
    std::future<bool> read = ReadUntilSent(7);
    AwaitPass();
    clock.ticks += milliseconds;
    AwaitPass();
    sockets.Answer(wire::PermitAnswer());
    ASSERT_TRUE(Await(read, engine));
    AwaitPass();
    clock.ticks += milliseconds;
    AwaitPass();
    EXPECT_NE(Name(), "");
    EXPECT_EQ(engine.GetLastErrorText(), "");
    clock.ticks += 1;
    EXPECT_TRUE(Eventually([this] { return Failed(ERRORT_ReadTimeout); }));
    EXPECT_EQ(Name() + engine.DnHex(), "");
  }
}

TEST_F(ReaderEngineTest, FieldsGoTwoSecondsAfterAReadThatNobodyWaitsForAnyMore) {
  clock.ticks = 0xFFFFFF00;  // they wrap before the fields have gone
  EXPECT_TRUE(Read());
  engine.ExitEngine();  // then it is for whoever asks to clear them
  clock.ticks += 2000;
  EXPECT_NE(Name(), "");
  clock.ticks += 1;
  EXPECT_EQ(Name() + engine.DnHex(), "");
  EXPECT_TRUE(Read());
  engine.StopRead();  // then the read thread does it
  EXPECT_TRUE(Eventually([this] {
    clock.ticks += 2001;
    platform::SystemClock().Sleep(2);
    clock.ticks -= 2001;
    return Name().empty();
  }));
  EXPECT_EQ(engine.GetLastErrorText(), "");
  // After the pass that it may be in, it has nothing to do.
  const std::uint32_t before = clock.sleptMs;
  platform::SystemClock().Sleep(20);
  EXPECT_LE(clock.sleptMs - before, 10U);
}

TEST_F(ReaderEngineTest, TheWaitOfTheReadBeforeEndsWithTheNextOne) {
  EXPECT_TRUE(Read());
  service.answers.erase("dn2");
  std::future<bool> read = ReadUntilSent(2);
  clock.ticks += 5000;
  AwaitPass();
  engine.StopRead();
  EXPECT_FALSE(Await(read, engine));
  EXPECT_EQ(engine.GetLastErrorText(), "");
}

TEST_F(ReaderEngineTest, ABeepThatFailsDoesNotUndoTheSuccess) {
  engine.SetBeepOnSuccess(true);
  reader.Script(0x65, {ScriptedReader::kLost});
  std::promise<void> woken;
  bool wokenBefore = false;
  reader.onRead = [&](std::uint8_t command) {
    if (command != 0x65) return;
    wokenBefore =
        woken.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
  };
  EXPECT_TRUE(Read());
  woken.set_value();
  EXPECT_TRUE(Eventually([this] { return engine.KnownReader().deviceStatus == 3; }));
  EXPECT_TRUE(wokenBefore) << "the caller was kept waiting for it";
  EXPECT_EQ(reader.written.back()[2], 50);
  EXPECT_EQ(engine.GetLastErrorText(), "");
  EXPECT_NE(Name(), "");
}

// The reader's notification and its acknowledgement come in any order, or not at all.
TEST_F(ReaderEngineTest, FindsACardThatIsReportedAtAnyTime) {
  const auto on = Reply("0100");
  const auto card = Reply("0110 08 E001020304050607");
  const auto otherLayout = Reply("0110 04");
  for (const ScriptedReader::Reports& reports :
       {ScriptedReader::Reports{card, on, otherLayout}, {card, on}, {on, card}, {card}}) {
    reader.Script(0x01, reports);
    EXPECT_TRUE(engine.FindCard());
    EXPECT_EQ(engine.KnownReader().cardKind, 16U);
    EXPECT_TRUE(engine.SetDeviceType(false)) << "the search goes on behind the find";
  }
  reader.Script(0x01, {on, otherLayout});
  EXPECT_FALSE(engine.FindCard());
  EXPECT_EQ(engine.KnownReader().cardKind, 0U) << "of the card before";
  EXPECT_FALSE(engine.SetDeviceType(false)) << "the search has ended";
  reader.pending.push_back(card);
  EXPECT_TRUE(engine.FindCard());
}

// Both names are looked up anew with the second line's port.
TEST(ReaderEngineStart, NamesThatHadNoAddressGoWithTheSecondPort) {
  World world(  // svc.example:7000, two.example:8
      "label\tFF39E20ED643FB30C1A45B99A244E31DC0A894958FE7\n"
      "label\t023B32FE22C6B95D87A340FA3FF07CF9\n");
  ReaderEngine engine(world.backends);
  world.sockets.names = {{"svc.example", "10.0.0.1"}, {"two.example", "10.0.0.2"}};
  world.sockets.servers[8] = {false, 1, 111};
  world.clock.ticks += 5'000;
  EXPECT_FALSE(engine.ReadCardStartRead());
  EXPECT_EQ(world.sockets.TakeCalls("connect"), "connect 10.0.0.1:8; connect 10.0.0.2:8; ");
}

// Nothing but what ends it ends a wait here: the clock stands still and the name server is silent.
TEST(ReaderEngineStart, ASilentNameServerHoldsNeitherCreationNorStopNorShutdown) {
  for (const bool shutdown : {false, true}) {
    World world("label\t5ADD519C56EE13C37AE318DA6485A242E572E04BCE50\n");  // second.example:9999
    world.sockets.silentNames = {"second.example"};
    bool asked = false;
    world.backends.givenUp = [&asked] { return std::exchange(asked, true); };
    ReaderEngine engine(world.backends);
    std::future<bool> read = ReadInBackground(engine);
    EXPECT_TRUE(Eventually([&] { return world.reader.Commands().ends_with("30 64"); }));
    shutdown ? static_cast<void>(engine.ExitEngine()) : engine.StopRead();
    EXPECT_FALSE(Await(read, engine));
  }
}

}  // namespace
}  // namespace idcardreader
