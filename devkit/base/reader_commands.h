#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
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

// What the reader understands, and what scenarios call it.
struct ReaderRequest {
  Command command;
  std::string_view name;
  std::size_t length;                                    // bytes of command and parameters
  std::optional<std::uint8_t> parameter = std::nullopt;  // the first, where it makes the difference
};

inline constexpr ReaderRequest kReaderRequests[] = {
    {Command::search, "search-on", 2, 0x01},
    {Command::search, "search-off", 2, 0x00},
    {Command::dn, "dn", 1},
    {Command::inputKey, "input-key", 9},
    {Command::outputKey, "output-key", 9},
    {Command::file, "file-11", 4, 0x11},
    {Command::file, "file-12", 4, 0x12},
    {Command::file, "file-13", 4, 0x13},
    {Command::file, "file-21", 4, 0x21},
    {Command::uid, "uid", 1},
    {Command::uidTypeA, "uid-a", 1},
    {Command::authorize, "authorize", 1},
    {Command::version, "version", 1},
    {Command::beep, "beep", 2},
};

// 0 for an unknown command.
constexpr std::size_t RequestLength(std::uint8_t command) {
  for (const ReaderRequest& request : kReaderRequests) {
    if (request.command == static_cast<Command>(command)) return request.length;
  }
  return 0;
}

}  // namespace devkit
