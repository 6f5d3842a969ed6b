#include "engine/reader_engine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "reader/scripted_reader.h"
#include "service/scripted_sockets.h"
#include "service/wire_samples.h"
#include "support/eventually.h"
#include "support/logs.h"
#include "support/status_codes.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

// A scripted reader and a scripted service, told of by these lines.
struct World {
  explicit World(const std::string& hostPort) {
    folder.Write("appid.dat", "label\t5AEA11D9172C2416150C6EE84628080D04\n");  // 0123456789
    folder.Write("hostport.dat", hostPort);
    sockets.blockWithoutAnswer = true;
    sockets.onSend = [this](const std::string& message) {
      for (const auto& [word, answer] : answers) {
        if (message.find('"' + word) != std::string::npos) sockets.Answer(answer);
      }
    };
  }

  const TemporaryFolder folder;
  ScriptedSockets sockets;
  std::map<std::string, std::string> answers = {  // by a word in the message
      {"login", wire::kLoginAnswer},   {"HEARTBEAT", wire::kAcknowledgement},
      {"dn2", wire::InputKeyAnswer()}, {"BBB2", wire::OutputKeyAnswer()},
      {"BB1", wire::kAcknowledgement}, {"BB21", wire::PermitAnswer()}};
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
  } rows[] = {{"0603", 0x06, 1, 0, "30 64 06"},  // a stopped read does not try again
              {"0600", 0x0B, 2, 3, "30 64 06 07 08 0B11"}};
  for (const auto& row : rows) {
    const std::size_t sentBefore = sockets.Sent().size();
    reader.written.clear();
    reader.Script(0x06, {ScriptedReader::Reply(row.dn)});
    int reports = 0;
    reader.onRead = [&](std::uint8_t command) {
      if (command == row.command && ++reports == row.report) engine.StopRead();
    };
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

TEST_F(ReaderEngineTest, WithoutASocketTheCauseStandsBehindTheCode) {
  sockets.creates = false;
  EXPECT_FALSE(Read());
  EXPECT_EQ(engine.GetLastErrorText(), std::string(StatusText(ERRORT_ServiceLink)) +
                                           std::string(StatusText(ERRORT_SocketInit)));
  sockets.creates = true;
  EXPECT_TRUE(Read()) << engine.GetLastErrorText();
}

TEST_F(ReaderEngineTest, WhatWasLeftBehindARefusedReadIsDrained) {
  answers["dn2"] = wire::kAcknowledgement;
  EXPECT_FALSE(Read());
  answers["dn2"] = wire::InputKeyAnswer();
  reader.pending.assign(3, ScriptedReader::Reply("0600 EE"));
  for (const bool serial : {true, false}) EXPECT_TRUE(engine.SetDeviceType(serial));
  EXPECT_TRUE(Read()) << "with its codes read anew";
  EXPECT_EQ(engine.KnownReader().authorizeCode, "A1A2A3A4A5A6");
}

// First for the answer that is awaited, then, counted anew, for somebody to collect what it brought;
// in both the ticks may wrap.
TEST_F(ReaderEngineTest, AReadWaitsForTheSecondsThatTheReaderHas) {
  answers.erase("BB21");
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
    EXPECT_TRUE(Eventually(
        [this] { return engine.GetLastErrorText().starts_with(StatusText(ERRORT_ReadTimeout)); }));
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
}

TEST_F(ReaderEngineTest, ABeepThatFailsDoesNotUndoTheSuccess) {
  engine.SetBeepOnSuccess(true);
  reader.Script(0x65, {ScriptedReader::kLost});
  std::promise<void> woken;
  auto wokenBefore = std::future_status::deferred;
  reader.onRead = [&](std::uint8_t command) {
    if (command == 0x65) wokenBefore = woken.get_future().wait_for(std::chrono::seconds(10));
  };
  EXPECT_TRUE(Read());
  woken.set_value();
  EXPECT_TRUE(Eventually([this] { return engine.KnownReader().deviceStatus == 3; }));
  EXPECT_EQ(wokenBefore, std::future_status::ready) << "the caller was kept waiting for it";
  EXPECT_EQ(reader.written.back()[2], 50);
  EXPECT_NE(Name(), "");
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
