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

// The whole engine with its own read thread, between a scripted reader and a scripted service.
class ReaderEngineTest : public testing::Test {
 protected:
  struct DataFolder : TemporaryFolder {
    DataFolder() {
      Write("appid.dat", "label\t5AEA11D9172C2416150C6EE84628080D04\n");  // 0123456789
      Write("hostport.dat", "label\t01383F280263DC52D24CD747\n");         // h=1.2.3.4:5
    }
  };

  bool Read() { return engine.ReadCard(); }

  const DataFolder folder;
  ScriptedSockets sockets;
  ScriptedService service{sockets};
  ScriptedReader reader;
  TestClock clock;
  ReaderEngine engine{EngineBackends{reader, sockets, clock, folder.path, folder.path}};
};

TEST_F(ReaderEngineTest, AStopEndsTheStart) {
  for (const char* dn : {"0600", "0603"}) {
    reader.Script(0x06, {ScriptedReader::Reply(dn)});
    reader.onRead = [this](std::uint8_t command) {
      if (command == 0x06) engine.StopRead();
    };
    ErrorLog().Log("of before");
    EXPECT_FALSE(Read());
    EXPECT_EQ(engine.GetLastErrorText(), "");
    EXPECT_TRUE(sockets.Sent().empty());
  }
  EXPECT_EQ(reader.Commands(), "30 64 06 06");  // a stopped read does not try again
  reader.onRead = nullptr;
  EXPECT_TRUE(Read());
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

TEST_F(ReaderEngineTest, TheDnOfBeforeIsGoneWithTheNextRead) {
  EXPECT_TRUE(Read());
  EXPECT_NE(engine.DnHex(), "");
  for (int attempt = 0; attempt < 2; ++attempt)
    reader.Script(0x06, {ScriptedReader::Reply("0603")});
  EXPECT_FALSE(Read());
  EXPECT_EQ(engine.DnHex(), "");
}

TEST_F(ReaderEngineTest, WhatWasLeftBehindARefusedReadIsDrained) {
  service.answers["dn2"] = wire::kAcknowledgement;
  EXPECT_FALSE(Read());
  service.answers["dn2"] = wire::InputKeyAnswer();
  reader.Pend(ScriptedReader::Reply("0600 EE"), 3);
  for (const bool serial : {true, false}) EXPECT_TRUE(engine.SetDeviceType(serial));
  EXPECT_TRUE(Read()) << "with its codes read anew";
  EXPECT_EQ(engine.KnownReader().authorizeCode, "A1A2A3A4A5A6");
}

TEST_F(ReaderEngineTest, FieldsStayForTheSecondsThatTheReaderHas) {
  EXPECT_TRUE(engine.SetDeviceType(false));
  EXPECT_TRUE(Read());
  clock.ticks += 3000;
  EXPECT_NE(engine.GetResultText(ResultItem::name), "");
  clock.ticks += 201;  // the thread is given time for the code of its own
  EXPECT_EQ(engine.GetResultText(ResultItem::name), "");
}

TEST_F(ReaderEngineTest, AShutdownClosesTheReader) {
  EXPECT_TRUE(Read());
  EXPECT_EQ(reader.openNow, 1);
  EXPECT_TRUE(engine.ExitEngine());
  EXPECT_EQ(reader.openNow, 0);
}

// The reader's notification and its acknowledgement come in any order, or not at all.
TEST_F(ReaderEngineTest, FindsACardThatIsReportedAtAnyTime) {
  const auto on = ScriptedReader::Reply("0100");
  const auto card = ScriptedReader::Reply("0110 08 E001020304050607");
  const auto otherLayout = ScriptedReader::Reply("0110 04");
  for (const std::vector<ScriptedReader::Report>& reports :
       {std::vector{card, on, otherLayout}, {card, on}, {on, card}, {card}}) {
    reader.Script(0x01, reports);
    EXPECT_TRUE(engine.FindCard());
    EXPECT_EQ(engine.KnownReader().cardKind, 16U);
    EXPECT_TRUE(engine.SetDeviceType(false)) << "the search goes on behind the find";
  }
  reader.Script(0x01, {on, otherLayout});
  EXPECT_FALSE(engine.FindCard());
  EXPECT_EQ(engine.KnownReader().cardKind, 0U) << "of the card before";
  EXPECT_FALSE(engine.SetDeviceType(false)) << "the search has ended";
  reader.Pend(card);
  EXPECT_TRUE(engine.FindCard());
}

TEST_F(ReaderEngineTest, ASearchIsAskedForFiveTimes) {
  for (const int refusals : {5, 4}) {
    for (int i = 0; i < refusals; ++i) reader.Script(0x01, {ScriptedReader::Reply("0101")});
    const std::size_t before = reader.Written().size();
    EXPECT_FALSE(engine.FindCard());
    const std::string commands = reader.Commands();
    EXPECT_TRUE(commands.ends_with(" 01 01 01 01 01")) << commands;
    EXPECT_EQ(reader.Written().size() - before, refusals == 5 ? 7U : 5U);
    EXPECT_EQ(engine.SetDeviceType(false), refusals == 5) << "a refused search is not on";
  }
}

// Both names are looked up anew with the second line's port.
TEST(ReaderEngineStart, NamesThatHadNoAddressGoWithTheSecondPort) {
  TemporaryFolder folder;
  folder.Write("appid.dat", "label\t5AEA11D9172C2416150C6EE84628080D04\n");
  folder.Write("hostport.dat",  // svc.example:7000, two.example:8
               "label\tFF39E20ED643FB30C1A45B99A244E31DC0A894958FE7\n"
               "label\t023B32FE22C6B95D87A340FA3FF07CF9\n");
  ScriptedSockets sockets;
  ScriptedService service(sockets);
  ScriptedReader reader;
  TestClock clock;
  ReaderEngine engine({reader, sockets, clock, folder.path, folder.path});
  sockets.names = {{"svc.example", "10.0.0.1"}, {"two.example", "10.0.0.2"}};
  sockets.servers[8] = {false, 1, 111};
  clock.ticks += 5'000;
  EXPECT_FALSE(engine.ReadCard());
  EXPECT_EQ(sockets.TakeCalls("connect"), "connect 10.0.0.1:8; connect 10.0.0.2:8; ");
}

// Nothing but what ends it ends a wait here: the clock stands still and the name server is silent.
TEST(ReaderEngineStart, ASilentNameServerHoldsNeitherCreationNorStopNorShutdown) {
  TemporaryFolder folder;
  folder.Write("appid.dat", "label\t5AEA11D9172C2416150C6EE84628080D04\n");
  folder.Write("hostport.dat",  // second.example:9999
               "label\t5ADD519C56EE13C37AE318DA6485A242E572E04BCE50\n");
  ScriptedSockets sockets;
  sockets.silentNames = {"second.example"};
  TestClock clock;
  for (const bool shutdown : {false, true}) {
    ScriptedReader reader;
    bool asked = false;
    EngineBackends backends{reader, sockets, clock, folder.path, folder.path};
    backends.givenUp = [&asked] { return std::exchange(asked, true); };
    ReaderEngine engine(backends);
    auto read = std::async(std::launch::async, [&] { return engine.ReadCard(); });
    ASSERT_TRUE(Eventually([&] { return reader.Commands().ends_with("30 64"); }));
    if (shutdown) {
      engine.ExitEngine();
    } else {
      engine.StopRead();
    }
    ASSERT_EQ(read.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_FALSE(read.get());
  }
  sockets.EndSilence();
}

}  // namespace
}  // namespace idcardreader
