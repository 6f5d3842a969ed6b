#include "reader/read_state_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reader/scripted_reader.h"
#include "service/scripted_service.h"
#include "support/eventually.h"
#include "support/status_codes.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

ScriptedReader::Report Reply(std::string_view hex) { return ScriptedReader::Reply(hex); }

// The relay between a scripted reader and a scripted service; the test makes the passes itself.
class ReadStateMachineTest : public testing::Test, public StatusSink {
 protected:
  ReadStateMachineTest() {
    bool newlyOpened = false;
    reader.OpenDevice(newlyOpened);
    links.Record(kItemServer1, "10.0.0.1.80");
    links.Ensure();
  }

  ReadGeneration SetError(std::int32_t code, ReadGeneration generation) override {
    codes.push_back(code);
    return state.Fail(generation, code, StatusText(code));
  }

  void QueueFirstTasks(std::uint32_t firstType = kItemLogin) {
    Block dn = Bytes("0600");
    for (std::uint8_t next = 1; dn.size() < 64; ++next) dn.push_back(next);
    EXPECT_TRUE(state.QueueFirstTasks({read, firstType, "LOGIN", {}}, {read, kItemDn, "DN", dn}));
  }
  void Begin() {
    read = state.Begin();
    ASSERT_TRUE(links.Get()->ServerInit(read));
    QueueFirstTasks();
  }
  // Passes until the read is done or over.
  bool Finish() {
    return Eventually([this] {
      machine.Pass();
      return state.IsOver(read);
    });
  }

  ScriptedSockets sockets;
  ScriptedService service{sockets};
  ScriptedReader door;
  TestClock clock;
  ActivityLog log{"Reader", clock};
  CardReader reader{door, log, clock};
  LinkHolder links{sockets, clock};
  ReadState state;
  ReadStateMachine machine{state, reader, links, *this, log, clock};
  ReadGeneration read = kNoRead;
  std::vector<std::int32_t> codes;
};

TEST_F(ReadStateMachineTest, RelaysAWholeCard) {
  Begin();
  ASSERT_TRUE(Finish());
  EXPECT_TRUE(state.ReadOk());
  EXPECT_FALSE(state.ReadRunning());
  EXPECT_THAT(codes, IsEmpty());
  EXPECT_EQ(door.Commands(),
            "30 64 07 0B11 08" == door.Commands() ? "" : "30 64 07 08 0B11 0B12 0B13 0B21");
  const auto written = door.Written();
  EXPECT_THAT(HexText(written[2]), StartsWith("00071122334455667788"));
  EXPECT_THAT(HexText(written[3]), StartsWith("0008A1A2A3A4A5A6A7A8"));
  EXPECT_THAT(
      sockets.Sent(),
      ElementsAre(StartsWith(R"({"appId":"app001")"),
                  std::string(R"({"type":"dn2","token":"tk-1","data":)") + wire::kDnData + "\n",
                  std::string(R"({"type":"BBB2","token":"tk-1","data":)") +
                      wire::kOutputKeyBlockData + "\n",
                  StartsWith(R"({"type":"BB11",)"), StartsWith(R"({"type":"BB12",)"),
                  StartsWith(R"({"type":"BB13",)"), StartsWith(R"({"type":"BB21_2",)")));
  EXPECT_EQ(state.GetResultText(kItemName), Gbk("陈大文"));
  EXPECT_EQ(state.GetResultText(kItemCardType), "2");
  EXPECT_EQ(state.GetResultText(kItemNation), "");  // only texts are stored
  EXPECT_EQ(state.GetResultText(kItemSuccess), "");
}

TEST_F(ReadStateMachineTest, HandsEachFileOnAsItWasRead) {
  door.Script(0x0B, std::vector(4, ScriptedReader::Report(64, 0xFF)));
  Begin();
  ASSERT_TRUE(Finish());
  const std::string sector11 = sockets.Sent()[3];
  EXPECT_EQ(sector11, UploadMessage(Dialect::token, "tk-1", Upload::sector11,
                                    SectorBlock(kFile11, Block(214, 0xFF))));
  EXPECT_THAT(sockets.Sent()[4], testing::EndsWith(",73,11,-54,50,19,-31,-59,0]}\n"));
}

TEST_F(ReadStateMachineTest, TakesOneTaskWithEachPass) {
  service.answers.erase("dn2");
  Begin();
  EXPECT_TRUE(sockets.Sent().empty());
  machine.Pass();
  EXPECT_TRUE(sockets.AwaitSent(1));
  EXPECT_THAT(sockets.Sent().back(), StartsWith(R"({"appId":)"));
  machine.Pass();
  EXPECT_TRUE(sockets.AwaitSent(2));
  for (int pass = 0; pass < 50; ++pass) machine.Pass();  // waits for the key
  EXPECT_EQ(door.Commands(), "30 64");
  sockets.Answer(wire::InputKeyAnswer());
  ASSERT_TRUE(Finish());
  EXPECT_TRUE(state.ReadOk());
}

TEST_F(ReadStateMachineTest, ClearsAReadThatNobodyCollectsInTime) {
  Begin();
  ASSERT_TRUE(Finish());
  machine.Pass();
  clock.ticks += 2000;
  machine.Pass();
  EXPECT_EQ(state.GetResultText(kItemIdNumber), "810000199001020011");
  EXPECT_THAT(codes, IsEmpty());
  clock.ticks += 1;
  machine.Pass();
  EXPECT_THAT(codes, ElementsAre(46));
  EXPECT_EQ(state.GetResultText(kItemIdNumber), "");
  EXPECT_FALSE(state.ReadOk());
  clock.ticks += 10'000;
  machine.Pass();
  EXPECT_EQ(codes.size(), 1U);
}

TEST_F(ReadStateMachineTest, RaisesNothingForAReadBeforeANewOne) {
  Begin();
  ASSERT_TRUE(Finish());
  state.Leave(read);
  service.answers.erase("dn2");
  Begin();
  clock.ticks += 5'000;
  for (int pass = 0; pass < 10; ++pass) machine.Pass();
  EXPECT_THAT(codes, IsEmpty());
  EXPECT_FALSE(state.IsOver(read));
}

TEST_F(ReadStateMachineTest, GivesUpWithoutAFinalAnswer) {
  service.answers.erase("BB21_2");
  state.SetServiceTimeout(3000);
  Begin();
  ASSERT_TRUE(Eventually([this] {
    machine.Pass();
    return sockets.Sent().size() == 7;
  }));
  machine.Pass();
  clock.ticks += 3000;
  machine.Pass();
  EXPECT_FALSE(state.IsOver(read));
  clock.ticks += 1;
  machine.Pass();
  EXPECT_THAT(codes, ElementsAre(46));
  EXPECT_TRUE(state.IsOver(read));
}

struct ServiceFailure {
  const char* name;
  const char* word;
  const char* answer;
  std::int32_t code;
  const char* commands;  // that the reader has had by then
};

class FailureOfTheService : public ReadStateMachineTest,
                            public testing::WithParamInterface<ServiceFailure> {};

TEST_P(FailureOfTheService, EndsTheReadWithItsText) {
  service.answers[GetParam().word] = GetParam().answer;
  Begin();
  ASSERT_TRUE(Finish());
  EXPECT_FALSE(state.ReadOk());
  EXPECT_EQ(state.LastErrorText(), StatusText(GetParam().code));
  EXPECT_EQ(state.GetResultText(kItemName), "");
  EXPECT_THAT(codes, IsEmpty());  // it is the link that has raised it
  EXPECT_THAT(door.Commands(), StartsWith(GetParam().commands));
}

// An empty answer is the end of the connection.
INSTANTIATE_TEST_SUITE_P(
    Exchanges, FailureOfTheService,
    testing::Values(ServiceFailure{"LoginRefused", "login", R"({"code":"01"})", 51, "30 64"},
                    ServiceFailure{"LoginCut", "login", "", 50, "30 64"},
                    ServiceFailure{"DnRefused", "dn2", R"({"code":"01"})", 44, "30 64"},
                    ServiceFailure{"OutputKeyRefused", "BBB2", R"({"code":"01"})", 45, "30 64 07"},
                    ServiceFailure{"Sector12Cut", "BB12", "", 16, "30 64 07 08 0B11 0B12"},
                    ServiceFailure{"ContentCut", "BB21_2", "", 20,
                                   "30 64 07 08 0B11 0B12 0B13 0B21"}),
    [](const auto& failure) { return failure.param.name; });

TEST_F(ReadStateMachineTest, AContentThatIsNoneEndsInTheFinalWait) {
  service.answers["BB21_2"] = R"({"data":")" + std::string(200, 'x') + "\"}\n";
  Begin();
  ASSERT_TRUE(Finish());
  EXPECT_FALSE(state.ReadOk());
  EXPECT_EQ(state.LastErrorText(), StatusText(55));
}

struct ReaderFailure {
  const char* name;
  std::uint8_t command;
  std::vector<ScriptedReader::Report> reports;
  std::int32_t code;
};

class FailureOfTheReader : public ReadStateMachineTest,
                           public testing::WithParamInterface<ReaderFailure> {};

TEST_P(FailureOfTheReader, IsRaisedAndNothingFollows) {
  door.Script(GetParam().command, GetParam().reports);
  Begin();
  ASSERT_TRUE(Finish());
  EXPECT_THAT(codes, ElementsAre(GetParam().code));
  EXPECT_FALSE(state.ReadOk());
  const auto commands = door.Commands();
  clock.ticks += 10'000;
  for (int pass = 0; pass < 10; ++pass) machine.Pass();
  EXPECT_EQ(door.Commands(), commands);
  EXPECT_EQ(codes.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, FailureOfTheReader,
    testing::Values(ReaderFailure{"InputKeyStatus", 0x07, {Reply("0703")}, 34},
                    ReaderFailure{"InputKeyWithoutACode", 0x07, {Reply("0600"), Reply("0600")}, 30},
                    ReaderFailure{"OutputKeyLost", 0x08, {ScriptedReader::kLost}, 47},
                    ReaderFailure{
                        "OutputKeyWithoutACode", 0x08, {Reply("0600"), Reply("0600")}, 30},
                    ReaderFailure{"OutputKeySilent", 0x08, {ScriptedReader::kNothing}, 30},
                    ReaderFailure{"FileLost", 0x0B, {ScriptedReader::kLost}, 47}),
    [](const auto& failure) { return failure.param.name; });

TEST_F(ReadStateMachineTest, AStoppedReadLeavesItsFileAndRaisesNothing) {
  int reports = 0;
  door.onRead = [&](std::uint8_t command) {
    if (command == 0x0B && ++reports == 2) state.Stop();
  };
  Begin();
  ASSERT_TRUE(Finish());
  for (int pass = 0; pass < 10; ++pass) machine.Pass();
  EXPECT_EQ(reports, 2);
  EXPECT_EQ(door.Commands(), "30 64 07 08 0B11");
  EXPECT_THAT(codes, IsEmpty());
}

TEST_F(ReadStateMachineTest, AWaitWithoutAStartedLinkRaises29) {
  read = state.Begin();
  QueueFirstTasks();
  machine.Pass();
  machine.Pass();
  EXPECT_THAT(codes, IsEmpty());
  machine.Pass();
  EXPECT_THAT(codes, ElementsAre(29));
  EXPECT_TRUE(sockets.Sent().empty());
  state.Leave(read);
  links.Record(kItemExit, "Exit");
  read = state.Begin();
  QueueFirstTasks();
  ASSERT_TRUE(Finish());
  EXPECT_THAT(codes, ElementsAre(29, 29));
}

TEST_F(ReadStateMachineTest, DropsTasksThatItDoesNotKnow) {
  read = state.Begin();
  for (const std::uint32_t type : {0U, 4U, 15U, 52U, 54U, 0xFFFFFFFFU}) {
    state.PostTask({read, type, "", {}});
  }
  for (int pass = 0; pass < 8; ++pass) machine.Pass();
  ReadTask task;
  EXPECT_FALSE(state.TakeTask(task));
  EXPECT_THAT(codes, IsEmpty());
  EXPECT_FALSE(state.IsOver(read));
}

TEST_F(ReadStateMachineTest, ABeepThatFailsDoesNotUndoTheSuccess) {
  state.SetBeepOnSuccess(true);
  door.Script(0x65, {ScriptedReader::kLost});
  bool doneBefore = false;
  door.onRead = [&](std::uint8_t command) {
    if (command == 0x65) doneBefore = state.IsOver(read);
  };
  Begin();
  ASSERT_TRUE(Finish());
  EXPECT_THAT(HexText(door.Written().back()), StartsWith("006532"));
  EXPECT_TRUE(doneBefore);  // the caller is not kept waiting for it
  EXPECT_TRUE(state.ReadOk());
  EXPECT_THAT(codes, IsEmpty());
  EXPECT_EQ(reader.DeviceStatus(), 3U);
}

}  // namespace
}  // namespace idcardreader
