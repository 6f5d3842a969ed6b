#include "service/service_settings.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace idcardreader {
namespace {

using Settings = std::vector<std::pair<std::int32_t, const char*>>;

std::string Servers(const std::vector<ServerEndpoint>& servers) {
  std::string text;
  for (const ServerEndpoint& server : servers) {
    text += server.host + "|" + std::to_string(server.port) + " ";
  }
  return text;
}

struct ServerCase {
  const char* name;
  Settings settings;
  const char* resolved;
  const char* configured;
};

class ServiceServers : public testing::TestWithParam<ServerCase> {};

TEST_P(ServiceServers, ComeFromTheSettings) {
  ServiceSettings settings;
  for (const auto& [item, text] : GetParam().settings) settings.Apply(item, text);
  EXPECT_EQ(Servers(settings.resolvedServers), GetParam().resolved);
  EXPECT_EQ(Servers(settings.configuredServers), GetParam().configured);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ServiceServers,
    testing::Values(ServerCase{"None", {}, "", ""},
                    ServerCase{"ByAddress",
                               {{19, "10.0.0.1.9999"}, {24, "10.0.0.2.7"}},
                               "10.0.0.1|9999 10.0.0.2|7 ",
                               ""},
                    ServerCase{"InTheOrderOfTheirComing",
                               {{24, "10.0.0.2.7"}, {19, "10.0.0.1.8"}},
                               "10.0.0.2|7 10.0.0.1|8 ",
                               ""},
                    ServerCase{"ThreePiecesAreEnough", {{19, "a.b.1"}}, "a.b|1 ", ""},
                    ServerCase{"TwoPiecesAreNot", {{19, "a.1"}, {24, ".9999"}, {19, ""}}, "", ""},
                    ServerCase{"ByName",
                               {{26, "one.example*9999"}, {27, "two.example*1"}},
                               "",
                               "one.example|9999 two.example|1 "},
                    ServerCase{"NamesNeedOnePort", {{26, "one.example"}, {27, "two*1*2"}}, "", ""},
                    ServerCase{"AnAddressMakesNamesIneffective",
                               {{19, "10.0.0.1.9999"}, {26, "one.example*9999"}},
                               "10.0.0.1|9999 ",
                               ""},
                    ServerCase{"OthersAreIgnored",
                               {{20, "10.0.0.1.1"}, {25, "1"}, {54, "x"}, {0, "y"}},
                               "",
                               ""}),
    [](const auto& servers) { return servers.param.name; });

struct TimeoutCase {
  const char* text;
  std::uint32_t milliseconds;
};

TEST(ServiceSettings, ATimeoutThatIsNoneMeansOneSecond) {
  EXPECT_EQ(ServiceSettings().SocketTimeout(), 1000U);
  for (const auto& [text, milliseconds] : {TimeoutCase{"250", 250}, TimeoutCase{"0", 1000},
                                           TimeoutCase{"-5", 1000}, TimeoutCase{"x", 1000}}) {
    ServiceSettings settings;
    settings.Apply(21, text);
    EXPECT_EQ(settings.SocketTimeout(), milliseconds) << text;
  }
}

TEST(ServiceSettings, ADeviceCodeOfFourPartsIsTheIdentityToo) {
  ServiceSettings settings;
  settings.Apply(23, "app&0102&00-1A&F0");
  EXPECT_EQ(settings.identity.deviceCode, "app&0102&00-1A&F0");
  EXPECT_EQ(settings.identity.applicationId, "app");
  EXPECT_EQ(settings.identity.hardwareNumber, "0102");
  EXPECT_EQ(settings.identity.deviceNumber, "00-1A");
  EXPECT_EQ(settings.identity.hardwareVersion, "F0");
  for (const char* other : {"a&b&c", "a&b&c&d&e", ""}) {
    settings.Apply(23, other);
    EXPECT_EQ(settings.identity.deviceCode, other);
    EXPECT_EQ(settings.identity.applicationId, "app");
    EXPECT_EQ(settings.identity.hardwareVersion, "F0");
  }
  settings.Apply(23, "&&&");
  EXPECT_EQ(settings.identity.applicationId + settings.identity.hardwareVersion, "");
}

}  // namespace
}  // namespace idcardreader
