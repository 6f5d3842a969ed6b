#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace devkit {

// The first byte of each request, and of each answer but the file streams.
enum class Command : std::uint8_t {
  search = 0x01,
  dn = 0x06,
  inputKey = 0x07,
  outputKey = 0x08,
  file = 0x0B,
  uid = 0x0C,
  uidTypeA = 0x0D,
  authorize = 0x30,
  version = 0x64,
  beep = 0x65,
};

inline constexpr std::size_t kReportSize = 64;        // an answer, a notification, a file report
inline constexpr std::size_t kFileBytesAReport = 60;  // what a file report carries

// The second byte of an answer. 1 to 8 are the reader's own words; these are the ones the model
// uses.
enum class ReaderStatus : std::uint8_t {
  ok = 0,
  noCardAnswer = 3,  // the card did not answer in time: there is none, or not one of that kind
  outOfOrder = 5,    // an internal error: the step before is missing
  refused = 6,       // illegal parameters: a wrong key, an unknown command
};

// Bytes of command and parameters; 0 for an unknown command.
constexpr std::size_t RequestLength(std::uint8_t command) {
  switch (static_cast<Command>(command)) {
    case Command::search:
    case Command::beep:
      return 2;
    case Command::inputKey:
    case Command::outputKey:
      return 9;
    case Command::file:
      return 4;
    case Command::dn:
    case Command::uid:
    case Command::uidTypeA:
    case Command::authorize:
    case Command::version:
      return 1;
  }
  return 0;
}

}  // namespace devkit
