#include "support/log_line.h"

#include <cstdio>

namespace idcardreader {
namespace {

template <std::size_t Capacity, typename... Arguments>
std::string Formatted(const char* format, Arguments... arguments) {
  char text[Capacity];
  const int length = std::snprintf(text, sizeof text, format, arguments...);
  return length > 0 ? std::string(text) : std::string();
}

}  // namespace

std::string LogTimePrefix(const platform::LocalTime& time) {
  return Formatted<96>("%04d:%02d:%02d|%02d:%02d:%02d|%03d|", time.year, time.month, time.day,
                       time.hour, time.minute, time.second, time.millisecond);
}

std::string LogFileStamp(const platform::LocalTime& time) {
  return Formatted<96>("%04d%02d%02d-%02d%02d%02d%03d-", time.year, time.month, time.day, time.hour,
                       time.minute, time.second, time.millisecond);
}

std::string LogFileStampWithoutMilliseconds(const platform::LocalTime& time) {
  return Formatted<96>("%04d%02d%02d-%02d%02d%02d", time.year, time.month, time.day, time.hour,
                       time.minute, time.second);
}

}  // namespace idcardreader
