#include "service/host_names.h"

#include <gtest/gtest.h>

#include "service/scripted_sockets.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

class HostNamesTest : public testing::Test {
 protected:
  // The addresses that are found, each with the place of its host for a port. The clock goes on by
  // this much each time that the wait is looked at.
  std::string Resolve(const std::vector<std::string>& hosts, std::uint32_t pace = 0,
                      bool givenUp = false) {
    std::vector<ServerEndpoint> servers;
    for (const std::string& host : hosts) {
      servers.push_back({host, static_cast<std::uint16_t>(servers.size())});
    }
    std::string found;
    for (const ServerEndpoint& server : names.Resolve(servers, [&] {
           clock.ticks += pace;
           return givenUp;
         })) {
      found += server.host + ":" + std::to_string(server.port) + " ";
    }
    return found;
  }

  ScriptedSockets sockets;
  TestClock clock;
  HostNames names{sockets, clock};
};

TEST_F(HostNamesTest, SilentNamesTakeThreeSecondsTogetherAndAreAskedOnce) {
  sockets.names = {{"good", "10.0.0.1"}, {"late", "10.0.0.2"}};
  sockets.silentNames = {"late", "silent"};
  EXPECT_EQ(Resolve({"late"}, 0, true), "");  // given up, which is no failure
  EXPECT_EQ(Resolve({"good"}), "10.0.0.1:0 ");
  EXPECT_EQ(Resolve({"late", "10.9.8.7", "good", "", "silent"}, 500), "10.9.8.7:1 10.0.0.1:2 ");
  EXPECT_EQ(clock.ticks, 4'000U);
  EXPECT_EQ(Resolve({"late"}), "");  // at once: the clock stands
  clock.ticks += 5'000;
  EXPECT_EQ(Resolve({"late"}, 500), "");
  EXPECT_EQ(clock.ticks, 12'000U);
  sockets.EndSilence();
  EXPECT_TRUE(Eventually([this] { return Resolve({"late"}) == "10.0.0.2:0 "; }));
  EXPECT_EQ(sockets.Calls().size(), 3U);
}

TEST_F(HostNamesTest, AFailureCountsForFiveSeconds) {
  for (const auto& [passed, asked] : {std::pair{0U, 1U}, {4'999U, 1U}, {1U, 2U}}) {
    clock.ticks += passed;
    EXPECT_EQ(Resolve({"gone"}), "");
    EXPECT_EQ(sockets.Calls().size(), asked);
  }
}

}  // namespace
}  // namespace idcardreader
