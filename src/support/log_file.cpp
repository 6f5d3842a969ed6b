#include "support/log_file.h"

#include <array>
#include <cstdio>

namespace idcardreader {
namespace {

// Room for seven numbers of any size.
using Line = std::array<char, 96>;

}  // namespace

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

platform::File OpenLogFile(const std::filesystem::path& folder, const std::string& stamp,
                           const std::string& name) {
  platform::CreateFolder(folder);
  return platform::OpenFile(folder / (stamp + name + ".txt"), "at");
}

std::string LogLine(const platform::LocalTime& time, std::string_view message) {
  Line line{};
  std::snprintf(line.data(), line.size(), "%04d:%02d:%02d|%02d:%02d:%02d|%03d|", time.year,
                time.month, time.day, time.hour, time.minute, time.second, time.millisecond);
  return std::string(line.data()).append(message).append("\n");
}

}  // namespace idcardreader
