#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "doctor/findings.h"

namespace readcard::doctor {

struct Endpoint {
  std::string host;
  std::uint16_t port = 0;
};

// The values that the library finds in appid.dat or hostport.dat. What is in a line that it passes
// over is nobody's business: nothing of the file is shown but endpoints.
std::vector<std::string> DataFileValues(std::string_view text);

// The application id of appid.dat; empty, with a finding, when there is none.
std::string CheckAppId(std::string_view text, Findings& findings);
// The endpoints that the library tries: two at most.
std::vector<Endpoint> CheckHostPort(std::string_view text, Findings& findings);

}  // namespace readcard::doctor
