#include "support/log_line.h"

#include <array>
#include <cstdio>

namespace idcardreader {
namespace {

// Room for seven numbers of any size.
using Line = std::array<char, 96>;

}  // namespace

std::string LogTimePrefix(const platform::LocalTime& time) {
  Line line{};
  std::snprintf(line.data(), line.size(), "%04d:%02d:%02d|%02d:%02d:%02d|%03d|", time.year,
                time.month, time.day, time.hour, time.minute, time.second, time.millisecond);
  return line.data();
}

std::string LogFileStamp(const platform::LocalTime& time) {
  Line line{};
  std::snprintf(line.data(), line.size(), "%04d%02d%02d-%02d%02d%02d%03d-", time.year, time.month,
                time.day, time.hour, time.minute, time.second, time.millisecond);
  return line.data();
}

std::string LogFileStampWithoutMilliseconds(const platform::LocalTime& time) {
  Line line{};
  std::snprintf(line.data(), line.size(), "%04d%02d%02d-%02d%02d%02d", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return line.data();
}

}  // namespace idcardreader
