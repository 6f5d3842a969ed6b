// The automatic card search: the reader reports by itself what is put on it.

#include <thread>

#include "host/host_test.h"

namespace hosttest {
namespace {

using nlohmann::json;

constexpr int kSearch = 1;

class SearchTest : public HostTest {
 protected:
  // The reader goes on searching when its host goes, so one that an earlier test left so has to lose
  // its power first.
  void SetUp() override {
    HostTest::SetUp();
    desk.Unplug();
    EXPECT_EQ(library->readCardSetDeviceType(0), 1);
    EXPECT_EQ(library->readCardInit(), 0);
    EXPECT_EQ(library->CloseComm(), 1);
    desk.Plug();
  }

  // Only then the kind of reader may be changed.
  bool IsOver() const { return library->readCardSetDeviceType(0) == 1; }
};

TEST_F(SearchTest, ReportsTheCardThatLiesThereAndReadingEndsIt) {
  for (const char* card : {kAnyCard, "gat"}) {
    desk.Put(card);
    EXPECT_EQ(library->readCardStart(kSearch), 1) << LastError();
    EXPECT_EQ(library->readCardGetCardType(), 16);
    EXPECT_EQ(Read().result, 1) << LastError();
    ExpectRecordOf(CardOf(card), *library);
  }
}

TEST_F(SearchTest, FindingIsNotReading) {
  ExpectGoodRead(kAnyCard);
  desk.Put("gat");
  EXPECT_EQ(library->readCardStart(kSearch), 1) << LastError();
  // The blocks are those of the card that was read last.
  ExpectBlocksOf(CardOf(kAnyCard), *library);
}

TEST_F(SearchTest, ReportsACardThatComesLater) {
  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  EXPECT_FALSE(IsOver());
  desk.Put(kTypeACard);
  EXPECT_TRUE(Eventually([this] { return library->readCardStart(kSearch) == 1; }));
  EXPECT_EQ(library->readCardGetCardType(), 4);
  EXPECT_TRUE(IsOver());

  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  EXPECT_EQ(library->readCardGetCardType(), 0) << "the kind of the card before";
}

// The reader refuses to search some times before it does; five times are enough for the library.
TEST_F(SearchTest, IsAskedForFiveTimes) {
  desk.Put(kAnyCard);
  const struct {
    int refusals;
    int result;
  } rows[] = {{4, 1}, {5, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.refusals);
    desk.Misbehave(FaultAt("search-on", "status", {{"status", 4}, {"times", row.refusals}}));
    EXPECT_EQ(library->readCardStart(kSearch), row.result) << LastError();
    EXPECT_TRUE(IsOver());
    // A search that is not on is not switched off either.
    desk.Misbehave(row.result == 0 ? FaultAt("search-off", "io-error") : json::object());
    ExpectGoodRead(kAnyCard);
  }
}

// What the system does for a thread, such as waiting for the reader, it ends with the thread.
TEST_F(SearchTest, EachSearchAndReadMayComeFromANewThread) {
  const auto inNewThread = [this](int mode) {
    return std::async(std::launch::async, [this, mode] { return library->readCardStart(mode); })
        .get();
  };
  desk.TakeCardAway();
  for (int i = 0; i < 3; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(inNewThread(kSearch), 0);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, milliseconds(900));
    EXPECT_EQ(library->readCardGetDeviceStatus(), 1) << LastError();
  }
  desk.Put(kAnyCard);
  EXPECT_EQ(inNewThread(kSearch), 1) << LastError();
  desk.TakeCardAway();
  EXPECT_EQ(inNewThread(kSearch), 0);
  ExpectGoodRead("gat");
}

// The virtual reader would complain of a close beside another thread's wait.
TEST_F(SearchTest, TheReaderMayBeClosedByAnotherThread) {
  desk.TakeCardAway();
  std::promise<void> searched, closed;
  std::thread searching([&] {
    EXPECT_EQ(library->readCardStart(kSearch), 0);
    searched.set_value();
    closed.get_future().wait();
  });
  searched.get_future().wait();
  EXPECT_EQ(library->CloseComm(), 1);
  closed.set_value();
  searching.join();
}

TEST_F(SearchTest, AnUnknownLayoutIsNoCard) {
  desk.Put(kAnyCard);
  EXPECT_EQ(library->readCardStart(kSearch), 1) << LastError();
  desk.Misbehave(FaultAt("notification", "wrong-layout"));
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  EXPECT_EQ(library->readCardGetCardType(), 0);
}

TEST_F(SearchTest, UnpluggedWhileSearchingIsCode47AndTheNextSearchOpensAgain) {
  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  desk.Unplug();
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  ExpectCode(47);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 3);
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  ExpectCode(27);
  desk.Plug();
  desk.Put(kAnyCard);
  EXPECT_EQ(library->readCardStart(kSearch), 1) << LastError();
}

TEST_F(SearchTest, AReaderThatWasPluggedInAgainDoesNotSearchAnyMore) {
  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  desk.Unplug();
  desk.Put(kAnyCard);
  EXPECT_EQ(Read().result, 0);
  desk.Plug();
  ExpectGoodRead(kAnyCard);
}

TEST_F(SearchTest, AStopEndsIt) {
  desk.TakeCardAway();
  EXPECT_EQ(library->readCardStart(kSearch), 0);
  library->readCardStop();
  EXPECT_TRUE(IsOver());
  ExpectGoodRead(kAnyCard);
}

}  // namespace
}  // namespace hosttest
