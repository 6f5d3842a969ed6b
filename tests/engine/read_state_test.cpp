#include "engine/read_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "support/bytes.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

void Complete(ReadState& state, ReadGeneration read, bool succeeded) {
  state.Complete(read, {succeeded, {}, {{ResultItem::name, "name"}}}, false);
}

ReadTask Task(ReadGeneration generation, std::uint32_t type) {
  return {generation, static_cast<TaskType>(type), {}, {}};
}

TEST(ReadState, RunsOneReadAtATime) {
  TestClock clock;
  ReadState state(clock);
  const ReadGeneration first = state.Begin();
  ASSERT_NE(first, kNoRead);
  EXPECT_TRUE(state.ReadRunning());
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_FALSE(state.EnterIdle());
  Complete(state, first, true);
  EXPECT_FALSE(state.EnterIdle());  // its caller has not left
  state.Leave(first);
  EXPECT_FALSE(state.ReadRunning());
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
  TestClock clock;
  ReadState state(clock);
  const ReadGeneration read = state.Begin();
  ASSERT_TRUE(state.QueueFirstTasks(Task(read, 14), Task(read, 5)));
  std::thread ender([&] { GetParam().end(state, read); });
  EXPECT_EQ(state.WaitForEnd(read), GetParam().succeeds);
  ender.join();
  EXPECT_TRUE(state.IsOver(read));
  EXPECT_EQ(state.IsCurrent(read), !GetParam().endsGeneration);
  EXPECT_EQ(state.ReadOk(), GetParam().succeeds);

  if (GetParam().endsGeneration) {
    ReadTask task;
    state.PostTask(Task(read, 8));
    EXPECT_FALSE(state.TakeTask(task));
    EXPECT_FALSE(state.QueueFirstTasks(Task(read, 3), Task(read, 5)));
    state.StartWaiting(read);
    clock.ticks += 100'000;
    EXPECT_EQ(state.ExpiredWait(), kNoRead);
    Complete(state, read, true);
    EXPECT_FALSE(state.ReadOk());
    EXPECT_EQ(state.Fail(read, 30, "late"), kNoRead);
  }
  // A new read starts clean, whatever the old one still does.
  state.Leave(read);
  const ReadGeneration next = state.Begin();
  ASSERT_NE(next, kNoRead);
  EXPECT_EQ(state.Fail(read, 31, "late"), kNoRead);
  EXPECT_FALSE(state.IsOver(next));
  EXPECT_EQ(state.RelayedRead(), kNoRead);
  EXPECT_EQ(state.LastErrorText(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Ends, EndOfARead,
    testing::Values(
        EndCase{"Success",
                [](ReadState& state, ReadGeneration read) { Complete(state, read, true); }, false,
                true},
        EndCase{"NoSuccess",
                [](ReadState& state, ReadGeneration read) { Complete(state, read, false); }, false,
                false},
        EndCase{"Error",
                [](ReadState& state, ReadGeneration read) { state.Fail(read, 30, "text"); }, true,
                false},
        EndCase{"Stop", [](ReadState& state, ReadGeneration) { state.Stop(); }, true, false}),
    [](const auto& end) { return end.param.name; });

TEST(ReadState, AnErrorClearsTheRecordAndLeavesItsText) {
  TestClock clock;
  ReadState state(clock);
  const ReadGeneration read = state.Begin();
  Complete(state, read, true);
  EXPECT_EQ(state.GetResultText(ResultItem::name), "name");
  EXPECT_NE(state.Fail(read, 34, "text"), kNoRead);
  EXPECT_EQ(state.GetResultText(ResultItem::name), "");
  EXPECT_EQ(state.LastErrorText(), "text");
  EXPECT_EQ(state.Fail(read, 35, "second"), kNoRead);
  EXPECT_THAT(state.ErrorHistory(), testing::ElementsAre(34));
}

TEST(ReadState, KeepsTheLastThousandCodes) {
  TestClock clock;
  ReadState state(clock);
  ReadGeneration generation = state.Begin();
  for (std::int32_t code = 1; code <= 1002; ++code) generation = state.Fail(generation, code, "");
  const auto history = state.ErrorHistory();
  EXPECT_EQ(history.size(), 1000U);
  EXPECT_EQ(history.front(), 3);
  EXPECT_EQ(history.back(), 1002);
}

TEST(ReadState, AStoppedCallerLeavesBeforeTheNextReadBegins) {
  TestClock clock;
  ReadState state(clock);
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
  TestClock clock;
  ReadState state(clock);
  const ReadGeneration read = state.Begin();
  Complete(state, read, true);
  state.Stop();
  EXPECT_FALSE(state.WaitForEnd(read));
  EXPECT_EQ(state.GetResultText(ResultItem::name), "");
}

TEST(ReadState, ShutdownWaitsForTheCallerAndLetsNobodyBegin) {
  TestClock clock;
  ReadState state(clock);
  const ReadGeneration read = state.Begin();
  std::atomic<bool> left = false;
  std::thread caller([&] {
    EXPECT_FALSE(state.WaitForEnd(read));
    left = true;
    state.Leave(read);
  });
  ReadGeneration stopped = kNoRead;
  EXPECT_TRUE(state.BeginShutdown(ReadState::Shutdown::passing, stopped));
  EXPECT_EQ(stopped, read);
  state.AwaitCallers();
  EXPECT_TRUE(left);
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_FALSE(state.EnterIdle());
  EXPECT_FALSE(state.AwaitWork());
  state.EndShutdown();
  caller.join();
  EXPECT_NE(state.Begin(), kNoRead);
}

// One of them could start the read thread that is to end.
TEST(ReadState, ShutdownWaitsForWhoeverIsAtTheReader) {
  TestClock clock;
  ReadState state(clock);
  ASSERT_TRUE(state.EnterIdle());
  ReadGeneration stopped = kNoRead;
  EXPECT_TRUE(state.BeginShutdown(ReadState::Shutdown::passing, stopped));
  std::atomic<bool> left = false;
  std::thread caller([&] {
    platform::SystemClock().Sleep(20);  // ample time to go on too early
    left = true;
    state.LeaveIdle();
  });
  state.AwaitCallers();
  EXPECT_TRUE(left);
  caller.join();
}

TEST(ReadState, AfterAShutdownForGoodNobodyBegins) {
  TestClock clock;
  ReadState state(clock);
  ReadGeneration stopped = kNoRead;
  EXPECT_TRUE(state.BeginShutdown(ReadState::Shutdown::for_good, stopped));
  state.EndShutdown();
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_FALSE(state.BeginShutdown(ReadState::Shutdown::passing, stopped));
}

// Whatever follows a good read, its fields do not outlive their time, with or without a thread.
TEST(ReadState, FieldsExpire) {
  struct {
    const char* what;
    std::function<void(ReadState&, ReadGeneration)> follows;
    bool atOnce;
  } const rows[] = {
      {"a stop", [](ReadState& state, ReadGeneration) { state.Stop(); }, false},
      {"a shutdown",
       [](ReadState& state, ReadGeneration read) {
         ReadGeneration stopped = kNoRead;
         state.Leave(read);
         state.BeginShutdown(ReadState::Shutdown::passing, stopped);
         state.EndShutdown();
       },
       false},
      {"a read refused by a shutdown",
       [](ReadState& state, ReadGeneration) {
         ReadGeneration stopped = kNoRead;
         state.BeginShutdown(ReadState::Shutdown::passing, stopped);
         EXPECT_EQ(state.Begin(), kNoRead);
       },
       true},
  };
  for (const bool byThread : {false, true}) {
    for (const auto& row : rows) {
      TestClock clock;
      ReadState state(clock);
      const ReadGeneration read = state.Begin();
      Complete(state, read, true);
      row.follows(state, read);
      EXPECT_EQ(state.GetResultText(ResultItem::name), row.atOnce ? "" : "name") << row.what;
      clock.ticks += 2000;
      EXPECT_EQ(state.GetResultText(ResultItem::name), row.atOnce ? "" : "name") << row.what;
      clock.ticks += 1;
      if (byThread) {
        state.ClearExpiredFields();
        clock.ticks -= 1;
      }
      EXPECT_EQ(state.GetResultText(ResultItem::name), "") << row.what;
      EXPECT_THAT(state.ErrorHistory(), testing::IsEmpty()) << row.what;
    }
  }
}

TEST(ReadState, TheThreadWaitsWhileThereIsNothingToDo) {
  TestClock clock;
  ReadState state(clock);
  std::atomic<bool> woken = false;
  std::thread waiter([&] { woken = state.AwaitWork(); });
  platform::SystemClock().Sleep(20);  // ample time to go on without cause
  EXPECT_FALSE(woken);
  const ReadGeneration read = state.Begin();
  waiter.join();
  EXPECT_TRUE(woken);
  Complete(state, read, true);
  EXPECT_TRUE(state.AwaitWork());  // until the fields have gone
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
    TestClock clock;
    ReadState state(clock);
    const ReadGeneration read = state.Begin();
    EXPECT_EQ(state.ExpiredWait(), kNoRead);
    clock.ticks = row.start;
    state.StartWaiting(read);
    clock.ticks = row.now;
    state.StartWaiting(read);  // it waits already
    EXPECT_EQ(state.ExpiredWait(), row.expired ? read : kNoRead) << row.start;
  }
}

TEST(ReadState, TakesBlocksFromHexTextOfUpTo1280Bytes) {
  TestClock clock;
  ReadState state(clock);
  const ReadGeneration read = state.Begin();
  state.Complete(read,
                 {true,
                  {},
                  {{ResultItem::text_block, std::string(2560, 'A')},
                   {ResultItem::photo_block, std::string(2562, 'A')},
                   {ResultItem::fingerprint_block, "01fF7"}}},
                 false);
  std::vector<std::uint8_t> bytes = Bytes("EE");
  for (const ResultItem item : {ResultItem::name, ResultItem::photo_block}) {
    EXPECT_FALSE(state.GetResultBytes(item, bytes));
    EXPECT_EQ(bytes, Bytes("EE"));
  }
  EXPECT_TRUE(state.GetResultBytes(ResultItem::text_block, bytes));
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(1280, 0xAA));
  EXPECT_TRUE(state.GetResultBytes(ResultItem::fingerprint_block, bytes));
  EXPECT_EQ(bytes, Bytes("01FF"));
}

}  // namespace
}  // namespace idcardreader
