#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace idcardreader {

// What conf.yaml says.
struct ReaderSettings {
  bool canLog = false;
  bool canPrint = true;  // the progress lines on standard output; off for the value "false" alone
  std::uint32_t vid = 0xC216;
  std::uint32_t pid = 0x0102;
  std::uint32_t comnum = 1;
  std::uint32_t comport = 57600;  // the baud rate, whatever its name says
  std::string comname;
};

// Each line is a key, ": " and a value; one of 1,024 or more bytes counts as several. A value that
// is no number is 0. Lines that begin with "#" or ";" and lines of less than 2 characters are
// dropped. The first kept line is passed over, unless it is the only one or a dropped comment stands
// before it.
ReaderSettings ParseConfFile(std::string_view text);

}  // namespace idcardreader
