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
  void Complete(bool succeeded) {
    state.Complete(read, {succeeded, {}, {{ResultItem::name, "name"}}}, false);
  }
  bool QueueFirstTasks() {
    return state.QueueFirstTasks({read, TaskType::login, {}}, {read, TaskType::dn, {}});
  }
  std::string Name() { return state.GetResultText(ResultItem::name); }

  std::atomic<bool> left = false;
  TestClock clock;
  ReadState state{clock};
  ReadGeneration read = state.Begin();
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
              {"stop", [this] { state.Stop(); }, true, false},
              {"stop of a success that its caller has not seen",
               [this] {
                 Complete(true);
                 state.Stop();
               },
               true, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ASSERT_TRUE(QueueFirstTasks());
    row.end();
    EXPECT_EQ(state.WaitForEnd(read), row.succeeds);
    EXPECT_EQ(Name(), row.endsGeneration ? "" : "name");
    EXPECT_TRUE(state.IsOver(read));
    EXPECT_EQ(state.IsCurrent(read), !row.endsGeneration);
    if (row.endsGeneration) {
      ReadTask task;
      state.PostTask({read, TaskType::sector11, {}});
      EXPECT_FALSE(state.TakeTask(task));
      EXPECT_FALSE(QueueFirstTasks());
      state.StartWaiting(read);
      clock.ticks += 100'000;
      EXPECT_EQ(state.ExpiredWait(), kNoRead);
      Complete(true);
      EXPECT_EQ(Name(), "");
    }
    EXPECT_EQ(!state.LastErrorText(), row.succeeds);
    state.Leave(read);
    const ReadGeneration next = state.Begin();
    EXPECT_EQ(state.Fail(read, "late"), kNoRead);
    state.SetDnHex(read, "late");
    EXPECT_FALSE(state.IsOver(next));
    EXPECT_EQ(state.RelayedRead(), kNoRead);
    EXPECT_EQ(state.LastErrorText(), "");
    EXPECT_EQ(state.DnHex(), "");
    read = next;
  }
}

TEST_F(ReadStateTest, AStoppedCallerLeavesBeforeTheNextReadBegins) {
  state.Stop();
  std::thread caller([&] {
    platform::SystemClock().Sleep(20);  // ample time to begin too early
    left = true;
    state.Leave(read);
  });
  EXPECT_NE(state.Begin(), kNoRead);
  EXPECT_TRUE(left);
  caller.join();
}

// Also for whoever is at the reader without reading: he could start the read thread that is to end.
TEST_F(ReadStateTest, AShutdownWaitsForTheCallersAndLetsNobodyBegin) {
  ReadGeneration stopped = kNoRead;
  for (const bool reading : {true, false}) {
    Complete(true);
    if (!reading) {
      state.Leave(read);
      ASSERT_TRUE(state.EnterIdle());
    }
    left = false;
    EXPECT_TRUE(state.BeginShutdown(ReadState::Shutdown::passing, stopped));
    EXPECT_EQ(stopped, read);
    EXPECT_EQ(Name(), "name");
    std::thread caller([&] {
      platform::SystemClock().Sleep(20);  // ample time to go on too early
      left = true;
      reading ? state.Leave(read) : state.LeaveIdle();
    });
    state.AwaitCallers();
    EXPECT_TRUE(left);
    caller.join();
    EXPECT_EQ(state.Begin(), kNoRead);
    EXPECT_EQ(Name(), "") << "he is refused a card, and not to be shown the one before";
    EXPECT_FALSE(state.EnterIdle());
    EXPECT_FALSE(state.AwaitWork());
    state.EndShutdown();
    read = state.Begin();
    EXPECT_NE(read, kNoRead);
  }
  state.Leave(read);
  EXPECT_TRUE(state.BeginShutdown(ReadState::Shutdown::for_good, stopped));
  state.EndShutdown();
  EXPECT_EQ(state.Begin(), kNoRead);
  EXPECT_FALSE(state.BeginShutdown(ReadState::Shutdown::passing, stopped));
}

TEST_F(ReadStateTest, TakesBlocksFromHexTextOfUpTo1280Bytes) {
  std::vector<std::uint8_t> bytes = Bytes("EE");
  state.Complete(read,
                 {true,
                  {},
                  {{ResultItem::text_block, std::string(2560, 'A')},
                   {ResultItem::photo_block, std::string(2562, 'A')},
                   {ResultItem::fingerprint_block, "01fF7"}}},
                 false);
  EXPECT_FALSE(state.GetResultBytes(ResultItem::photo_block, bytes));
  EXPECT_EQ(bytes, Bytes("EE"));
  EXPECT_TRUE(state.GetResultBytes(ResultItem::text_block, bytes));
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(1280, 0xAA));
  EXPECT_TRUE(state.GetResultBytes(ResultItem::fingerprint_block, bytes));
  EXPECT_EQ(bytes, Bytes("01FF"));
}

}  // namespace
}  // namespace idcardreader
