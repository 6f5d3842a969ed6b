#include "engine/read_state_machine.h"

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

// The relay between a scripted reader and a scripted service; the test makes the passes itself.
class ReadStateMachineTest : public testing::Test {
 protected:
  ReadStateMachineTest() {
    bool newlyOpened = false;
    reader.OpenDevice(newlyOpened, [] { return false; });
    links.Ensure();
  }

  void QueueFirstTasks() {
    Block dn = {0x06, 0x00};
    for (std::uint8_t next = 1; dn.size() < 64; ++next) dn.push_back(next);
    EXPECT_TRUE(state.QueueFirstTasks({read, TaskType::login, {}}, {read, TaskType::dn, dn}));
  }
  void Begin() {
    read = state.Begin();
    ASSERT_TRUE(links.Get()->ServerInit(read, {{}, {{"10.0.0.1", 80}}, {}}));
    QueueFirstTasks();
  }
  void Pass(int count) {
    for (int pass = 0; pass < count; ++pass) machine.Pass();
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
    const std::size_t before = sockets.Sent().size();
    ASSERT_TRUE(Eventually([&] {
      machine.Pass();
      return sockets.Sent().size() == before + 7;
    }));
    machine.Pass();
  }
  bool ReadOk() { return !state.LastErrorText(); }

  ScriptedSockets sockets;
  ScriptedService service{sockets};
  ScriptedReader backend;
  TestClock clock;
  ActivityLog log{"Reader", clock};
  CardReader reader{backend, log, clock};
  LinkHolder links{sockets, clock};
  ReadState state{clock};
  std::vector<std::int32_t> codes;
  ReadStateMachine machine{state, reader, links, log,
                           [this](std::int32_t code, ReadGeneration generation) {
                             codes.push_back(code);
                             state.Fail(generation, StatusText(code));
                           }};
  ReadGeneration read = kNoRead;
};

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

TEST_F(ReadStateMachineTest, RaisesNothingForAReadBeforeANewOne) {
  Begin();
  ASSERT_TRUE(Finish());
  state.Leave(read);
  service.answers.erase("dn2");
  Begin();
  clock.ticks += 5'000;
  Pass(10);
  EXPECT_THAT(codes, IsEmpty());
  EXPECT_FALSE(state.IsOver(read));
}

TEST_F(ReadStateMachineTest, LeavesAReadAloneUntilItsTasksAreQueued) {
  sockets.creates = false;
  read = state.Begin();
  // Which has raised 3 by now.
  EXPECT_FALSE(links.Get()->ServerInit(read, {{}, {{"10.0.0.1", 80}}, {}}));
  Pass(3);
  EXPECT_FALSE(state.IsOver(read));
  QueueFirstTasks();
  ASSERT_TRUE(Finish());
  EXPECT_THAT(codes, ElementsAre(29));
}

TEST_F(ReadStateMachineTest, AStoppedReadLeavesItsFileAndRaisesNothing) {
  int reports = 0;
  backend.onRead = [&](std::uint8_t command) {
    if (command == 0x0B && ++reports == 2) state.Stop();
  };
  Begin();
  ASSERT_TRUE(Finish());
  Pass(10);
  EXPECT_EQ(reports, 2);
  EXPECT_EQ(backend.Commands(), "30 64 07 08 0B11");
  EXPECT_THAT(codes, IsEmpty());
}

TEST_F(ReadStateMachineTest, ABeepThatFailsDoesNotUndoTheSuccess) {
  machine.SetBeepOnSuccess(true);
  backend.Script(0x65, {ScriptedReader::kLost});
  bool doneBefore = false;
  backend.onRead = [&](std::uint8_t command) {
    if (command == 0x65) doneBefore = state.IsOver(read);
  };
  Begin();
  ASSERT_TRUE(Finish());
  EXPECT_THAT(HexText(backend.Written().back()), StartsWith("006532"));
  EXPECT_TRUE(doneBefore);  // the caller is not kept waiting for it
  EXPECT_TRUE(ReadOk());
  EXPECT_THAT(codes, IsEmpty());
}

}  // namespace
}  // namespace idcardreader
