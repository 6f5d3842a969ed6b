#include "reader/reader_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "reader/scripted_reader.h"
#include "service/scripted_service.h"
#include "support/eventually.h"
#include "support/logged_lines.h"
#include "support/status_codes.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

ScriptedReader::Report Reply(std::string_view hex) { return ScriptedReader::Reply(hex); }

// The whole engine with its own read thread, between a scripted reader and a scripted service.
class ReaderEngineTest : public testing::Test {
 protected:
  ReaderEngineTest() {
    folder.Write("conf.yaml", "# of this test\nvid: 4660\ncomnum: 12\n");
    folder.Write("appid.dat", "label\t5AEA11D9172C2416150C6EE84628080D04\n");  // 0123456789
    // h=1.2.3.4:5
    folder.Write("hostport.dat", "label\t01383F280263DC52D24CD747\n");
    Make();
  }

  void Make() {
    engine.reset();
    engine = std::make_unique<ReaderEngine>(
        EngineDoors{reader, sockets, clock, folder.path, folder.path});
  }
  bool Read() { return engine->ReadCardStartRead(false); }

  const TemporaryFolder folder;
  ScriptedSockets sockets;
  ScriptedService service{sockets};
  ScriptedReader reader;
  TestClock clock;
  std::unique_ptr<ReaderEngine> engine;
};

TEST_F(ReaderEngineTest, ReadsACardAndLogsInOnce) {
  EXPECT_TRUE(Read());
  EXPECT_EQ(engine->GetResultText(kItemName), Gbk("陈大文"));
  EXPECT_EQ(engine->GetLastErrorText(), "");
  EXPECT_THAT(engine->DnHex(), "0102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F20");
  EXPECT_EQ(reader.vendorId, 4660);
  EXPECT_THAT(engine->SerialDescription(), HasSubstr("COM12"));
  EXPECT_THAT(sockets.Sent()[0],
              StartsWith(R"({"appId":"0123456789","hardwareNumber":"A1A2A3A4A5A6")"
                         R"(,"deviceNumber":")" +
                         engine->HostDeviceCode() + R"(","hardwareVersion":"0284",)"));
  EXPECT_THAT(sockets.Calls(), testing::Contains("connect 11 1.2.3.4:5"));
  EXPECT_TRUE(Read());
  EXPECT_THAT(sockets.Sent()[7], HasSubstr(R"("type":"HEARTBEAT")"));
}

struct StartCase {
  const char* name;
  std::function<void(ScriptedReader&, ScriptedSockets&)> arrange;
  std::int32_t code;  // 0: the read succeeds
};

class StartOfARead : public ReaderEngineTest, public testing::WithParamInterface<StartCase> {};

TEST_P(StartOfARead, SucceedsOrRaisesItsCode) {
  GetParam().arrange(reader, sockets);
  const bool succeeds = GetParam().code == 0;
  EXPECT_EQ(Read(), succeeds);
  if (succeeds) {
    EXPECT_EQ(engine->GetLastErrorText(), "");
  } else {
    EXPECT_THAT(engine->GetLastErrorText(), StartsWith(std::string(StatusText(GetParam().code))));
    EXPECT_TRUE(sockets.Sent().empty());
    reader.result = ReaderDoor::Result::opened;  // and nothing of it stays
    sockets.servers.clear();
    EXPECT_TRUE(Read());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Troubles, StartOfARead,
    testing::Values(StartCase{"None", [](ScriptedReader&, ScriptedSockets&) {}, 0},
                    StartCase{"NoReader",
                              [](ScriptedReader& reader, ScriptedSockets&) {
                                reader.result = ReaderDoor::Result::not_found;
                              },
                              27},
                    StartCase{"ReaderWithoutACode",
                              [](ScriptedReader& reader, ScriptedSockets&) {
                                reader.Script(0x64, {Reply("0105"), Reply("0105")});
                              },
                              30},
                    StartCase{"NoServer",
                              [](ScriptedReader&, ScriptedSockets& sockets) {
                                sockets.servers[5] = {false, 1, 111};
                              },
                              29},
                    StartCase{"DnOnceBad",
                              [](ScriptedReader& reader, ScriptedSockets&) {
                                reader.Script(0x06, {Reply("0603")});
                              },
                              0},
                    StartCase{"DnOnceLost",
                              [](ScriptedReader& reader, ScriptedSockets&) {
                                reader.Script(0x06, {ScriptedReader::kLost});
                              },
                              0},
                    StartCase{"DnTwiceBad",
                              [](ScriptedReader& reader, ScriptedSockets&) {
                                reader.Script(0x06, {Reply("0603")});
                                reader.Script(0x06, {Reply("0500"), Reply("0500")});
                              },
                              40}),
    [](const auto& start) { return start.param.name; });

TEST_F(ReaderEngineTest, LogsWhyItReadsTheDnAgain) {
  reader.Script(0x06, {Reply("0603")});
  const LoggedLines errors;
  EXPECT_TRUE(Read());
  EXPECT_THAT(errors.Get(), testing::Contains(Gbk("第二次重试DN")));
}

TEST_F(ReaderEngineTest, AStopEndsTheStart) {
  for (const char* dn : {"0600", "0603"}) {
    reader.Script(0x06, {Reply(dn)});
    reader.onRead = [this](std::uint8_t command) {
      if (command == 0x06) engine->StopRead();
    };
    ErrorLog().Log("of before");
    EXPECT_FALSE(Read());
    EXPECT_EQ(engine->GetLastErrorText(), "");
    EXPECT_TRUE(sockets.Sent().empty());
  }
  EXPECT_EQ(reader.Commands(), "30 64 06 06");  // a stopped read does not try again
  reader.onRead = nullptr;
  EXPECT_TRUE(Read());
}

TEST_F(ReaderEngineTest, WhileAReadRunsNothingElseTouchesTheReader) {
  service.answers.erase("BBB2");
  std::thread caller([this] { EXPECT_FALSE(Read()); });
  ASSERT_TRUE(sockets.AwaitSent(3));
  EXPECT_FALSE(Read());
  EXPECT_FALSE(engine->ReadCardStartRead(true));
  EXPECT_FALSE(engine->ReadInit());
  EXPECT_FALSE(engine->SetDeviceType(true));
  EXPECT_EQ(engine->GetCardUid(0), "");
  engine->Beep(100);
  EXPECT_EQ(reader.Commands(), "30 64 06 07");
  engine->StopRead();
  caller.join();
  EXPECT_TRUE(engine->ReadInit());
  EXPECT_EQ(engine->GetCardUid(0), "E001020304050607");
}

TEST_F(ReaderEngineTest, AShutdownReleasesTheReadAndKeepsTheConfiguration) {
  service.answers.erase("BBB2");
  std::thread caller([this] { EXPECT_FALSE(Read()); });
  ASSERT_TRUE(sockets.AwaitSent(3));
  EXPECT_TRUE(engine->ExitEngine());
  caller.join();
  EXPECT_TRUE(engine->ExitEngine());
  for (const std::string& name : folder.Names()) std::filesystem::remove(folder.path / name);
  service.answers["BBB2"] = wire::OutputKeyAnswer();
  const LoggedLines errors;
  EXPECT_TRUE(Read());
  EXPECT_THAT(sockets.Sent()[3],
              StartsWith(R"({"appId":"0123456789")"));  // a new link logs in anew
  EXPECT_TRUE(errors.Get().empty());
  // Only a new engine reads the files anew.
  Make();
  EXPECT_THAT(errors.Get(), testing::Contains("Read Appid File Fail!"));
}

TEST_F(ReaderEngineTest, AFailedReadNamesItsCodeAndTheLastLoggedLine) {
  service.answers["dn2"] = R"({"code":"01"})";
  EXPECT_FALSE(Read());
  EXPECT_EQ(engine->GetLastErrorText(), std::string(StatusText(44)) + R"({"code":"01"})");
  EXPECT_EQ(engine->GetResultText(kItemName), "");
}

}  // namespace
}  // namespace idcardreader
