#include "engine/read_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "support/bytes.h"

namespace idcardreader {
namespace {

ReadTask Task(ReadGeneration generation, std::uint32_t type) { return {generation, type, {}, {}}; }

TEST(ReadState, RunsOneReadAtATime) {
  ReadState state;
  const ReadGeneration first = state.Begin();
  ASSERT_NE(first, kNoRead);
  EXPECT_TRUE(state.ReadRunning());
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_EQ(state.PrepareIdle(), kNoRead);
  state.Complete(true);
  EXPECT_FALSE(state.ReadRunning());
  state.Leave(first);
  const ReadGeneration second = state.Begin();
  EXPECT_NE(second, first);
  state.Leave(second);  // it never got going, and its end comes now
  EXPECT_FALSE(state.ReadRunning());
  EXPECT_FALSE(state.IsCurrent(second));
}

struct EndCase {
  const char* name;
  std::function<void(ReadState&, ReadGeneration)> end;
  bool endsGeneration;
  bool succeeds;
};

class EndOfARead : public testing::TestWithParam<EndCase> {};

TEST_P(EndOfARead, ReleasesItsCallerAndNothingOfItGoesOn) {
  ReadState state;
  const ReadGeneration read = state.Begin();
  ASSERT_TRUE(state.QueueFirstTasks(Task(read, 14), Task(read, 5)));
  std::thread ender([&] { GetParam().end(state, read); });
  EXPECT_EQ(state.WaitForEnd(read), GetParam().succeeds);
  ender.join();
  EXPECT_FALSE(state.ReadRunning());
  EXPECT_TRUE(state.IsOver(read));
  EXPECT_EQ(state.IsCurrent(read), !GetParam().endsGeneration);
  EXPECT_EQ(state.ReadOk(), GetParam().succeeds);

  if (GetParam().endsGeneration) {
    ReadTask task;
    state.PostTask(Task(read, 8));
    EXPECT_FALSE(state.TakeTask(task));
    EXPECT_FALSE(state.Prepare(read));
    EXPECT_FALSE(state.QueueFirstTasks(Task(read, 3), Task(read, 5)));
    state.StartWaiting(read, 0);
    EXPECT_EQ(state.ExpiredWait(100'000), kNoRead);
    EXPECT_EQ(state.Fail(read, 30, "late"), kNoRead);
  }
  // A new read starts clean, whatever the old one still does.
  state.Leave(read);
  const ReadGeneration next = state.Begin();
  ASSERT_NE(next, kNoRead);
  EXPECT_EQ(state.Fail(read, 31, "late"), kNoRead);
  EXPECT_FALSE(state.IsOver(next));
  EXPECT_FALSE(state.TasksQueued());
  EXPECT_EQ(state.LastErrorText(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Ends, EndOfARead,
    testing::Values(
        EndCase{"Success", [](ReadState& state, ReadGeneration) { state.Complete(true); }, false,
                true},
        EndCase{"NoSuccess", [](ReadState& state, ReadGeneration) { state.Complete(false); }, false,
                false},
        EndCase{"Error",
                [](ReadState& state, ReadGeneration read) { state.Fail(read, 30, "text"); }, true,
                false},
        EndCase{"Stop", [](ReadState& state, ReadGeneration) { state.Stop(); }, true, false}),
    [](const auto& end) { return end.param.name; });

TEST(ReadState, AnErrorClearsTheRecordAndLeavesItsText) {
  ReadState state;
  const ReadGeneration read = state.Begin();
  state.StoreResult(35, "name");
  EXPECT_NE(state.Fail(read, 34, "text"), kNoRead);
  EXPECT_EQ(state.GetResultText(35), "");
  EXPECT_EQ(state.LastErrorText(), "text");
  EXPECT_EQ(state.Fail(read, 35, "second"), kNoRead);
  EXPECT_THAT(state.ErrorHistory(), testing::ElementsAre(34));
}

TEST(ReadState, KeepsTheLastThousandCodes) {
  ReadState state;
  ReadGeneration generation = state.Begin();
  for (std::int32_t code = 1; code <= 1002; ++code) generation = state.Fail(generation, code, "");
  const auto history = state.ErrorHistory();
  EXPECT_EQ(history.size(), 1000U);
  EXPECT_EQ(history.front(), 3);
  EXPECT_EQ(history.back(), 1002);
}

TEST(ReadState, AStoppedCallerLeavesBeforeTheNextReadBegins) {
  ReadState state;
  const ReadGeneration first = state.Begin();
  state.Stop();
  std::atomic<bool> left = false;
  std::thread next([&] {
    EXPECT_NE(state.Begin(), kNoRead);
    EXPECT_TRUE(left);
  });
  platform::SystemClock().Sleep(20);  // ample time to begin too early
  left = true;
  state.Leave(first);
  next.join();
}

TEST(ReadState, AStopBeforeTheCallerHasWokenTakesTheRecord) {
  ReadState state;
  const ReadGeneration read = state.Begin();
  state.StoreResult(35, "somebody");
  state.Complete(true);
  state.Stop();
  EXPECT_FALSE(state.WaitForEnd(read));
  EXPECT_EQ(state.GetResultText(35), "");
}

TEST(ReadState, ShutdownWaitsForTheCallerAndLetsNobodyBegin) {
  ReadState state;
  const ReadGeneration read = state.Begin();
  std::atomic<bool> left = false;
  std::thread caller([&] {
    EXPECT_FALSE(state.WaitForEnd(read));
    left = true;
    state.Leave(read);
  });
  EXPECT_TRUE(state.BeginShutdown());
  EXPECT_TRUE(left);
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_EQ(state.PrepareIdle(), kNoRead);
  state.EndShutdown();
  caller.join();
  EXPECT_NE(state.Begin(), kNoRead);
}

struct WaitCase {
  std::uint32_t start;
  std::uint32_t now;
  bool expired;
};

TEST(ReadState, AWaitExpiresAfterItsTimeAlsoWhenTheTicksWrap) {
  for (const WaitCase& row :
       {WaitCase{1000, 3000, false}, WaitCase{1000, 3001, true}, WaitCase{0xFFFFFF00, 0x6D0, false},
        WaitCase{0xFFFFFF00, 0x6D1, true}, WaitCase{1000, 999, false}}) {
    ReadState state;
    const ReadGeneration read = state.Begin();
    EXPECT_EQ(state.ExpiredWait(row.now), kNoRead);
    state.StartWaiting(read, row.start);
    state.StartWaiting(read, row.now);  // it waits already
    EXPECT_EQ(state.ExpiredWait(row.now), row.expired ? read : kNoRead) << row.start;
  }
}

TEST(ReadState, TakesBlocksFromHexTextOfUpTo1280Bytes) {
  ReadState state;
  std::vector<std::uint8_t> bytes = Bytes("EE");
  EXPECT_FALSE(state.GetResultBytes(28, bytes));
  state.StoreResult(28, std::string(2562, 'A'));
  EXPECT_FALSE(state.GetResultBytes(28, bytes));
  EXPECT_EQ(bytes, Bytes("EE"));
  state.StoreResult(28, std::string(2560, 'A'));
  EXPECT_TRUE(state.GetResultBytes(28, bytes));
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(1280, 0xAA));
  state.StoreResult(28, "01fF7");
  EXPECT_TRUE(state.GetResultBytes(28, bytes));
  EXPECT_EQ(bytes, Bytes("01FF"));
}

}  // namespace
}  // namespace idcardreader
