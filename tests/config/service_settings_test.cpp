#include "config/service_settings.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace idcardreader {
namespace {

TEST(ServiceSettings, NameServersByAddressOrByName) {
  struct {
    std::vector<std::pair<std::int32_t, const char*>> texts;
    const char* servers;  // by address, then by name
  } const rows[] = {
      {{{24, "10.0.0.2.7"}, {19, "10.0.0.1.9999"}}, "10.0.0.2:7 10.0.0.1:9999 ||"},
      {{{19, "a.1"}, {24, ".9999"}, {19, ""}, {19, "a.b.1"}}, "a.b:1 ||"},
      {{{26, "one*9999"}, {27, "two*1"}}, "|one:9999 two:1 |"},
      {{{26, "one"}, {27, "two*1*2"}, {20, "10.0.0.1.1"}, {25, "1"}, {54, "x"}, {0, "y"}}, "||"},
      {{{19, "10.0.0.1.9999"}, {26, "one*9999"}}, "10.0.0.1:9999 ||"}};
  for (const auto& [texts, expected] : rows) {
    ServiceSettings settings;
    for (const auto& [item, text] : texts) settings.Apply(static_cast<LinkSetting>(item), text);
    std::string servers;
    for (const auto* list : {&settings.resolvedServers, &settings.configuredServers}) {
      for (const auto& server : *list) {
        servers += server.host + ":" + std::to_string(server.port) + " ";
      }
      servers += "|";
    }
    EXPECT_EQ(servers, expected);
  }
}

TEST(ServiceSettings, ATimeoutThatIsNoneMeansOneSecond) {
  ServiceSettings settings;
  EXPECT_EQ(settings.SocketTimeout(), 1000U);
  settings.Apply(LinkSetting::socket_timeout, "250");
  EXPECT_EQ(settings.SocketTimeout(), 250U);
  for (const char* none : {"0", "-5", "x"}) {
    settings.Apply(LinkSetting::socket_timeout, none);
    EXPECT_EQ(settings.SocketTimeout(), 1000U) << none;
  }
}

TEST(ServiceSettings, ADeviceCodeOfFourPartsIsTheIdentityToo) {
  ServiceSettings settings;
  const ServiceIdentity& identity = settings.identity;
  for (const char* code : {"app&0102&00-1A&F0", "a&b&c", "a&b&c&d&e", ""}) {
    settings.Apply(LinkSetting::device_code, code);
    EXPECT_EQ(identity.deviceCode, code);
    EXPECT_EQ(identity.applicationId + "|" + identity.hardwareNumber + "|" + identity.deviceNumber +
                  "|" + identity.hardwareVersion,
              "app|0102|00-1A|F0");
  }
}

}  // namespace
}  // namespace idcardreader
