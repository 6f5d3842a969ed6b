#pragma once

#include <string>
#include <string_view>

#include "config/service_settings.h"

namespace idcardreader {

// The library's version as hosts and the service are told it.
extern const char kSdkVersion[];

// The messages that are the same in every dialect, each for one send. The login ends with a line
// feed, the heartbeat does not, and the service relies on that.
std::string LoginMessage(const ServiceIdentity& identity);
std::string HeartbeatMessage(const ServiceIdentity& identity);

struct LoginAnswer {
  bool accepted = false;
  std::string token;
  std::string code;  // empty when the answer has none
};
LoginAnswer ParseLoginAnswer(std::string_view answer);

}  // namespace idcardreader
