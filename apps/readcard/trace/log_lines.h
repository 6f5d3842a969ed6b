#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "trace/trace.h"

namespace readcard::trace {

struct LogLine {
  Moment at;
  std::string message;  // GBK, as the library wrote it
};

Moment MomentOf(const idcardreader::platform::LocalTime& time);
// "2024-01-02 03:04:05.006".
std::string MomentText(Moment moment);

// What begins with no time belongs to the message before.
std::vector<LogLine> LogLines(std::string_view text);

// When the log of this owner ("Reader", "Server", "Error") was opened, by its file's name; nothing
// for another's.
std::optional<Moment> OpenedAt(std::string_view fileName, std::string_view owner);

}  // namespace readcard::trace
