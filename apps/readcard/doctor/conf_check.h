#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "doctor/findings.h"

namespace readcard::doctor {

// What the library makes of the file, as far as the other checks need it.
struct ConfSettings {
  bool canLog = false;
  std::uint32_t vid = 0xC216;
  std::uint32_t pid = 0x0102;
  std::uint32_t comnum = 1;
  std::uint32_t comport = 57600;
  std::string comname;
  bool serialNamed = false;  // comnum or comname is set
};

// Finds what the text does not do although it looks as if it did.
ConfSettings CheckConf(std::string_view text, Findings& findings);

}  // namespace readcard::doctor
