#include "engine/read_state.h"

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

class ReadStateTest : public testing::Test {
 protected:
  using Shutdown = ReadState::Shutdown;

  bool BeginShutdown(Shutdown kind) { return state.BeginShutdown(kind, stopped); }
  void Complete(bool succeeded) {
    state.Complete(read, {succeeded, {}, {{ResultItem::name, "name"}}}, false);
  }
  bool QueueFirstTasks() {
    return state.QueueFirstTasks({read, TaskType::login, {}}, {read, TaskType::dn, {}});
  }
  std::string Name() { return state.GetResultText(ResultItem::name); }
  bool ReadOk() { return !state.LastErrorText(); }

  TestClock clock;
  ReadState state{clock};
  ReadGeneration read = state.Begin();
  ReadGeneration stopped = kNoRead;
};

TEST_F(ReadStateTest, RunsOneReadAtATime) {
  EXPECT_TRUE(state.ReadRunning());
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_FALSE(state.EnterIdle());
  Complete(true);
  EXPECT_FALSE(state.EnterIdle());  // its caller has not left
  EXPECT_FALSE(state.ForgetLastRead());
  EXPECT_EQ(state.IdleGeneration(), kNoRead);
  state.Leave(read);
  EXPECT_FALSE(state.ReadRunning());
  const ReadGeneration second = state.Begin();
  EXPECT_NE(second, read);
  state.Leave(second);  // it never got going, and its end comes now
  EXPECT_FALSE(state.ReadRunning());
  EXPECT_FALSE(state.IsCurrent(second));
}

// Whichever way a read ends, its caller is released and nothing late of it has an effect.
TEST_F(ReadStateTest, NothingOfAReadGoesOnBehindItsEnd) {
  const struct {
    const char* what;
    std::function<void()> end;
    bool endsGeneration, succeeds;
  } rows[] = {{"success", [this] { Complete(true); }, false, true},
              {"no success", [this] { Complete(false); }, false, false},
              {"error", [this] { state.Fail(read, "text"); }, true, false},
              {"stop", [this] { state.Stop(); }, true, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ASSERT_TRUE(QueueFirstTasks());
    std::thread ender(row.end);
    EXPECT_EQ(state.WaitForEnd(read), row.succeeds);
    ender.join();
    EXPECT_TRUE(state.IsOver(read));
    EXPECT_EQ(state.IsCurrent(read), !row.endsGeneration);
    EXPECT_EQ(ReadOk(), row.succeeds);
    if (row.endsGeneration) {
      ReadTask task;
      state.PostTask({read, TaskType::sector11, {}});
      EXPECT_FALSE(state.TakeTask(task));
      EXPECT_FALSE(QueueFirstTasks());
      state.StartWaiting(read);
      clock.ticks += 100'000;
      EXPECT_EQ(state.ExpiredWait(), kNoRead);
      Complete(true);
      EXPECT_FALSE(ReadOk());
      EXPECT_EQ(Name(), "");
    }
    state.Leave(read);
    const ReadGeneration next = state.Begin();
    ASSERT_NE(next, kNoRead);
    EXPECT_EQ(state.Fail(read, "late"), kNoRead);
    state.SetDnHex(read, "late");
    EXPECT_FALSE(state.IsOver(next));
    EXPECT_EQ(state.RelayedRead(), kNoRead);
    EXPECT_EQ(state.LastErrorText(), "");
    EXPECT_EQ(state.DnHex(), "");
    read = next;
  }
}

TEST_F(ReadStateTest, AnErrorClearsTheRecordAndLeavesItsText) {
  state.SetDnHex(read, "dn");
  Complete(true);
  EXPECT_EQ(Name(), "name");
  EXPECT_NE(state.Fail(read, "text"), kNoRead);
  EXPECT_EQ(Name(), "");
  EXPECT_EQ(state.DnHex(), "");
  EXPECT_EQ(state.LastErrorText(), "text");
  EXPECT_EQ(state.Fail(read, "second"), kNoRead);
}

TEST_F(ReadStateTest, AStoppedCallerLeavesBeforeTheNextReadBegins) {
  state.Stop();
  std::atomic<bool> left = false;
  std::thread next([&] {
    EXPECT_NE(state.Begin(), kNoRead);
    EXPECT_TRUE(left);
  });
  platform::SystemClock().Sleep(20);  // ample time to begin too early
  left = true;
  state.Leave(read);
  next.join();
}

TEST_F(ReadStateTest, AStopBeforeTheCallerHasWokenTakesTheRecord) {
  Complete(true);
  state.Stop();
  EXPECT_FALSE(state.WaitForEnd(read));
  EXPECT_EQ(Name(), "");
}

// Also for whoever is at the reader without reading: he could start the read thread that is to end.
TEST_F(ReadStateTest, AShutdownWaitsForTheCallersAndLetsNobodyBegin) {
  for (const bool reading : {true, false}) {
    if (!reading) {
      state.Stop();
      state.Leave(read);
      ASSERT_TRUE(state.EnterIdle());
    }
    std::atomic<bool> left = false;
    std::thread caller([&] {
      EXPECT_FALSE(reading && state.WaitForEnd(read));
      platform::SystemClock().Sleep(20);  // ample time to go on too early
      left = true;
      reading ? state.Leave(read) : state.LeaveIdle();
    });
    EXPECT_TRUE(BeginShutdown(Shutdown::passing));
    EXPECT_TRUE(!reading || stopped == read);
    state.AwaitCallers();
    EXPECT_TRUE(left);
    caller.join();
    EXPECT_EQ(state.Begin(), kNoRead);
    EXPECT_FALSE(state.EnterIdle());
    EXPECT_FALSE(state.AwaitWork());
    state.EndShutdown();
    read = state.Begin();
    EXPECT_NE(read, kNoRead);
  }
  state.Stop();
  state.Leave(read);
  EXPECT_TRUE(BeginShutdown(Shutdown::for_good));
  state.EndShutdown();
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_FALSE(BeginShutdown(Shutdown::passing));
}

TEST_F(ReadStateTest, TheThreadWaitsWhileThereIsNothingToDo) {
  state.Leave(read);
  std::atomic<bool> woken = false;
  std::thread waiter([&] { woken = state.AwaitWork(); });
  platform::SystemClock().Sleep(20);  // ample time to go on without cause
  EXPECT_FALSE(woken);
  read = state.Begin();
  waiter.join();
  EXPECT_TRUE(woken);
  Complete(true);
  EXPECT_TRUE(state.AwaitWork());  // until the fields have gone
}

TEST_F(ReadStateTest, AWaitExpiresAfterItsTimeAlsoWhenTheTicksWrap) {
  const struct {
    std::uint32_t start, now;
    bool expired;
  } rows[] = {{1000, 3000, false},
              {1000, 3001, true},
              {0xFFFFFF00, 0x6D0, false},
              {0xFFFFFF00, 0x6D1, true}};
  for (const auto& row : rows) {
    state.Stop();
    state.Leave(read);
    read = state.Begin();
    EXPECT_EQ(state.ExpiredWait(), kNoRead);
    clock.ticks = row.start;
    state.StartWaiting(read);
    clock.ticks = row.now;
    state.StartWaiting(read);  // it waits already
    EXPECT_EQ(state.ExpiredWait(), row.expired ? read : kNoRead) << row.start;
  }
  state.SetServiceTimeout(3000);
  EXPECT_EQ(state.ExpiredWait(), kNoRead);
  clock.ticks += 1000;
  EXPECT_EQ(state.ExpiredWait(), read);
}

// Fields go two seconds after a read whatever follows it, by the thread or by the next who asks.
TEST_F(ReadStateTest, FieldsExpireWhateverFollowsTheRead) {
  const struct {
    const char* what;
    std::function<void()> follows;
    bool atOnce;
  } rows[] = {
      {"a stop", [this] { state.Stop(); }, false},
      {"a shutdown",
       [this] {
         BeginShutdown(Shutdown::passing);
         state.EndShutdown();
       },
       false},
      {"a read refused by a shutdown",
       [this] {
         BeginShutdown(Shutdown::passing);
         EXPECT_EQ(state.Begin(), kNoRead);
         state.EndShutdown();
       },
       true},
  };
  for (const bool byThread : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.what);
      Complete(true);
      state.Leave(read);
      row.follows();
      EXPECT_EQ(Name(), row.atOnce ? "" : "name");
      clock.ticks += 2000;
      EXPECT_EQ(Name(), row.atOnce ? "" : "name");
      clock.ticks += 1;
      if (byThread) {
        state.ClearExpiredFields();
        clock.ticks -= 1;
      }
      EXPECT_EQ(Name(), "");
      read = state.Begin();
    }
  }
}

TEST_F(ReadStateTest, TakesBlocksFromHexTextOfUpTo1280Bytes) {
  state.Complete(read,
                 {true,
                  {},
                  {{ResultItem::text_block, std::string(2560, 'A')},
                   {ResultItem::photo_block, std::string(2562, 'A')},
                   {ResultItem::fingerprint_block, "01fF7"}}},
                 false);
  std::vector<std::uint8_t> bytes = Bytes("EE");
  EXPECT_FALSE(state.GetResultBytes(ResultItem::name, bytes));
  EXPECT_FALSE(state.GetResultBytes(ResultItem::photo_block, bytes));
  EXPECT_EQ(bytes, Bytes("EE"));
  EXPECT_TRUE(state.GetResultBytes(ResultItem::text_block, bytes));
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(1280, 0xAA));
  EXPECT_TRUE(state.GetResultBytes(ResultItem::fingerprint_block, bytes));
  EXPECT_EQ(bytes, Bytes("01FF"));
}

}  // namespace
}  // namespace idcardreader
