#include "service/host_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/scripted_sockets.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;

class HostNamesTest : public testing::Test {
 protected:
  std::string Resolve(const std::string& host) {
    return names.Resolve({host}, [] { return false; }).front();
  }
  // With a clock that goes on while it waits.
  std::vector<std::string> ResolveInTime(const std::vector<std::string>& hosts) {
    return names.Resolve(hosts, [this] {
      clock.ticks += 500;
      return false;
    });
  }

  ScriptedSockets sockets;
  TestClock clock;
  HostNames names{sockets, clock};
};

TEST_F(HostNamesTest, SilentNamesTakeThreeSecondsTogetherAndAreAskedOnce) {
  sockets.names = {{"good", "10.0.0.1"}, {"late", "10.0.0.2"}};
  sockets.silentNames = {"late", "silent"};
  EXPECT_EQ(Resolve("good"), "10.0.0.1");
  EXPECT_THAT(ResolveInTime({"late", "10.9.8.7", "good", "", "silent"}),
              ElementsAre("", "10.9.8.7", "10.0.0.1", "", ""));
  EXPECT_EQ(clock.ticks, 4'000U);
  EXPECT_EQ(Resolve("late"), "");  // at once: the clock stands
  clock.ticks += 5'000;
  EXPECT_THAT(ResolveInTime({"late"}), ElementsAre(""));
  EXPECT_EQ(clock.ticks, 12'000U);
  sockets.EndSilence();
  EXPECT_TRUE(Eventually([this] { return Resolve("late") == "10.0.0.2"; }));
  EXPECT_EQ(sockets.Calls().size(), 3U);
}

TEST_F(HostNamesTest, AFailureCountsForFiveSeconds) {
  EXPECT_EQ(Resolve("gone"), "");
  clock.ticks += 4'999;
  EXPECT_EQ(Resolve("gone"), "");
  EXPECT_EQ(sockets.Calls().size(), 1U);
  clock.ticks += 1;
  EXPECT_EQ(Resolve("gone"), "");
  EXPECT_EQ(sockets.Calls().size(), 2U);
}

TEST_F(HostNamesTest, AWaitThatWasGivenUpIsNoFailure) {
  sockets.silentNames = {"silent"};
  EXPECT_THAT(names.Resolve({"silent"}, [] { return true; }), ElementsAre(""));
  EXPECT_THAT(ResolveInTime({"silent"}), ElementsAre(""));
  EXPECT_EQ(clock.ticks, 4'000U);
  EXPECT_EQ(sockets.Calls().size(), 1U);
}

}  // namespace
}  // namespace idcardreader
