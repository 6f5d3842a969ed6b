// The automatic card search: the reader reports by itself what is put on it.

#include "host/host_test.h"

namespace hosttest {
namespace {

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

  // In a thread of its own: what the system does for a thread, such as waiting for the reader, it
  // ends with the thread, and another one closes the reader.
  std::int32_t Search() const {
    return std::async(std::launch::async, library->readCardStart, 1).get();
  }

  // Only then the kind of reader may be changed.
  bool IsOver() const { return library->readCardSetDeviceType(0) == 1; }
};

TEST_F(SearchTest, ReportsTheCardThatLiesThereAndReadingEndsIt) {
  ExpectGoodRead(kAnyCard);
  desk.Put("gat");
  EXPECT_EQ(Search(), 1) << LastError();
  EXPECT_EQ(library->readCardGetCardType(), 16);
  // Finding is not reading: the blocks are those of the card that was read last.
  ExpectBlocksOf(CardOf(kAnyCard), *library);
  EXPECT_EQ(Read().result, 1) << LastError();
  ExpectRecordOf(CardOf("gat"), *library);
}

TEST_F(SearchTest, ReportsACardThatComesLaterUntilItIsStopped) {
  desk.TakeCardAway();
  for (int i = 0; i < 3; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Search(), 0);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, milliseconds(900));
    EXPECT_EQ(library->readCardGetDeviceStatus(), 1) << LastError();
    EXPECT_FALSE(IsOver());
  }
  desk.Put(kTypeACard);
  EXPECT_TRUE(Eventually([this] { return Search() == 1; }));
  EXPECT_EQ(library->readCardGetCardType(), 4);
  EXPECT_TRUE(IsOver());

  desk.TakeCardAway();
  EXPECT_EQ(Search(), 0);
  EXPECT_EQ(library->readCardGetCardType(), 0) << "the kind of the card before";
  library->readCardStop();
  EXPECT_TRUE(IsOver());
  ExpectGoodRead("gat");
}

TEST_F(SearchTest, UnpluggedWhileSearchingIsCode47AndTheNextSearchOpensAgain) {
  desk.TakeCardAway();
  EXPECT_EQ(Search(), 0);
  desk.Unplug();
  for (const int code : {47, 27}) {
    EXPECT_EQ(Search(), 0);
    ExpectCode(code);
    EXPECT_EQ(library->readCardGetDeviceStatus(), 3);
  }
  desk.Plug();
  desk.Put(kAnyCard);
  EXPECT_EQ(Search(), 1) << LastError();
}

}  // namespace
}  // namespace hosttest
