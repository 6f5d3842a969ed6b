#include "config/service_settings.h"

#include <gtest/gtest.h>

#include <string>

namespace idcardreader {
namespace {

TEST(ServiceSettings, AnEndpointHasAHostAndAPort) {
  const std::pair<const char*, const char*> rows[] = {{"svc.example:7000", "svc.example 7000"},
                                                      {"1.2.3.4:65535", "1.2.3.4 65535"},
                                                      {"h:65536", "h 0"},
                                                      {"h:70000", "h 0"},  // not 4464
                                                      {"h:-5", "h 0"},
                                                      {"h:x", "h 0"},
                                                      {"h:80x", "h 80"},
                                                      {":80", " 80"},
                                                      {"host,9999", "none"},
                                                      {"a:b:c", "none"},
                                                      {"", "none"}};
  for (const auto& [text, expected] : rows) {
    const auto endpoint = ParseEndpoint(text);
    EXPECT_EQ(endpoint ? endpoint->host + " " + std::to_string(endpoint->port) : "none", expected)
        << text;
  }
}

TEST(ServiceSettings, ADeviceCodeOfFourPartsIsTheIdentityToo) {
  const std::pair<const char*, const char*> rows[] = {
      {"app&0102&00-1A&F0", "app|0102|00-1A|F0"},
      {"a&b&c", "app001|IDCard|PcDevice|verson"},
      {"a&b&c&d&e", "app001|IDCard|PcDevice|verson"}};
  for (const auto& [code, expected] : rows) {
    const ServiceIdentity identity = IdentityOf(code);
    EXPECT_EQ(identity.deviceCode, code);
    EXPECT_EQ(identity.applicationId + "|" + identity.hardwareNumber + "|" + identity.deviceNumber +
                  "|" + identity.hardwareVersion,
              expected);
  }
}

}  // namespace
}  // namespace idcardreader
