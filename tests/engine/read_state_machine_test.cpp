#include "engine/read_state_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
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
    reader.OpenDevice(newlyOpened, [] { return false; });
    links.Record(LinkSetting::server1, "10.0.0.1.80");
    links.Ensure();
  }

  ReadGeneration SetError(std::int32_t code, ReadGeneration generation) override {
    codes.push_back(code);
    return state.Fail(generation, code, StatusText(code));
  }

  void QueueFirstTasks() {
    Block dn = {0x06, 0x00};
    for (std::uint8_t next = 1; dn.size() < 64; ++next) dn.push_back(next);
    EXPECT_TRUE(state.QueueFirstTasks({read, TaskType::login, "LOGIN", {}},
                                      {read, TaskType::dn, "DN", dn}));
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

  // Passes until the last upload is sent and its answer awaited.
  void AwaitLastUpload() {
    ASSERT_TRUE(Eventually([this] {
      machine.Pass();
      return sockets.Sent().size() == 7;
    }));
    machine.Pass();
  }

  ScriptedSockets sockets;
  ScriptedService service{sockets};
  ScriptedReader door;
  TestClock clock;
  ActivityLog log{"Reader", clock};
  CardReader reader{door, log, clock};
  LinkHolder links{sockets, clock};
  ReadState state{clock};
  ReadStateMachine machine{state, reader, links, *this, log};
  ReadGeneration read = kNoRead;
  std::vector<std::int32_t> codes;
};

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
  service.answers.erase("BB21_2");
  Begin();
  AwaitLastUpload();
  clock.ticks += 2000;
  machine.Pass();
  EXPECT_FALSE(state.IsOver(read));
  sockets.Answer(wire::PermitAnswer());
  ASSERT_TRUE(Finish());
  clock.ticks += 2000;  // counted from the end of the read
  machine.Pass();
  EXPECT_EQ(state.GetResultText(ResultItem::id_number), "810000199001020011");
  EXPECT_THAT(codes, IsEmpty());
  clock.ticks += 1;
  machine.Pass();
  EXPECT_THAT(codes, ElementsAre(46));
  EXPECT_EQ(state.GetResultText(ResultItem::id_number), "");
  clock.ticks += 10'000;
  machine.Pass();
  EXPECT_EQ(codes.size(), 1U);
}

TEST_F(ReadStateMachineTest, GivesUpWithoutAFinalAnswer) {
  service.answers.erase("BB21_2");
  state.SetServiceTimeout(3000);
  Begin();
  AwaitLastUpload();
  for (const bool over : {false, true}) {
    clock.ticks += over ? 1 : 3000;
    machine.Pass();
    EXPECT_EQ(state.IsOver(read), over);
  }
  EXPECT_THAT(codes, ElementsAre(46));
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

TEST_F(ReadStateMachineTest, LeavesAReadAloneUntilItsTasksAreQueued) {
  sockets.creates = false;
  read = state.Begin();
  EXPECT_FALSE(links.Get()->ServerInit(read));  // which has raised 3 by now
  for (int pass = 0; pass < 3; ++pass) machine.Pass();
  EXPECT_FALSE(state.IsOver(read));
  QueueFirstTasks();
  ASSERT_TRUE(Finish());
  EXPECT_THAT(codes, ElementsAre(29));
}

TEST_F(ReadStateMachineTest, AFailureOfTheReaderIsRaisedAndNothingFollows) {
  struct {
    std::uint8_t command;
    std::vector<ScriptedReader::Report> reports;
    std::int32_t code;
  } const rows[] = {{0x07, {Reply("0703")}, 34},
                    {0x07, {Reply("0600"), Reply("0600")}, 30},  // without a code of its own
                    {0x08, {Reply("0600"), Reply("0600")}, 30},
                    {0x0B, {ScriptedReader::kLost}, 47}};
  for (const auto& [command, reports, code] : rows) {
    bool newlyOpened = false;
    reader.OpenDevice(newlyOpened, [] { return false; });
    codes.clear();
    door.Script(command, reports);
    Begin();
    EXPECT_TRUE(Finish());
    EXPECT_FALSE(state.ReadOk());
    const auto commands = door.Commands();
    clock.ticks += 10'000;
    for (int pass = 0; pass < 5; ++pass) machine.Pass();
    EXPECT_EQ(door.Commands(), commands);
    state.Leave(read);
    EXPECT_THAT(codes, ElementsAre(code));
  }
}

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

TEST_F(ReadStateMachineTest, DropsTasksThatItDoesNotKnow) {
  read = state.Begin();
  for (const std::uint32_t type : {0U, 4U, 15U, 52U, 54U, 0xFFFFFFFFU}) {
    state.PostTask({read, static_cast<TaskType>(type), "", {}});
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
