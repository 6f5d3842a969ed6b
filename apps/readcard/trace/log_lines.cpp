#include "trace/log_lines.h"

#include <array>
#include <cstdio>

namespace readcard::trace {
namespace {

// The digits of `text` where `pattern` has a 'd'; nothing when another character differs.
std::optional<std::string> DigitsOf(std::string_view text, std::string_view pattern) {
  if (text.size() < pattern.size()) return std::nullopt;
  std::string digits;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (pattern[i] == 'd' ? !digit : text[i] != pattern[i]) return std::nullopt;
    if (digit) digits += text[i];
  }
  return digits;
}

// Seventeen digits: year, month, day, hour, minute, second, millisecond.
Moment MomentOfDigits(const std::string& digits) {
  const auto number = [&digits](std::size_t begin, std::size_t length) {
    return std::stoi(digits.substr(begin, length));
  };
  return MomentOf({number(0, 4), number(4, 2), number(6, 2), number(8, 2), number(10, 2),
                   number(12, 2), number(14, 3)});
}

constexpr std::string_view kLineStamp = "dddd:dd:dd|dd:dd:dd|ddd|";
constexpr std::string_view kFileStamp = "dddddddd-ddddddddd-";

}  // namespace

Moment MomentOf(const idcardreader::platform::LocalTime& time) {
  using namespace std::chrono;
  const sys_days day = year(time.year) / month(static_cast<unsigned>(time.month)) /
                       std::chrono::day(static_cast<unsigned>(time.day));
  return day.time_since_epoch() + hours(time.hour) + minutes(time.minute) + seconds(time.second) +
         milliseconds(time.millisecond);
}

std::string MomentText(Moment moment) {
  using namespace std::chrono;
  const auto dayNumber = floor<days>(moment);
  const year_month_day date{sys_days(dayNumber)};
  const hh_mm_ss time(moment - dayNumber);
  std::array<char, 96> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d.%03d",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                static_cast<int>(time.subseconds().count()));
  return text.data();
}

std::vector<LogLine> LogLines(std::string_view text) {
  std::vector<LogLine> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (const auto digits = DigitsOf(line, kLineStamp)) {
      lines.push_back({MomentOfDigits(*digits), std::string(line.substr(kLineStamp.size()))});
    } else if (!lines.empty()) {
      lines.back().message.append("\n").append(line);
    }
  }
  return lines;
}

std::optional<Moment> OpenedAt(std::string_view fileName, std::string_view owner) {
  const auto digits = DigitsOf(fileName, kFileStamp);
  if (!digits || fileName.substr(kFileStamp.size()) != std::string(owner) + ".txt") {
    return std::nullopt;
  }
  return MomentOfDigits(*digits);
}

}  // namespace readcard::trace
