#pragma once

#include <string>

#include "platform/clock.h"

namespace idcardreader {

// "2024:01:02|03:04:05|006|", the start of every log line.
std::string LogTimePrefix(const platform::LocalTime& time);

// "20240102-030405006-", the start of the names of error and activity logs.
std::string LogFileStamp(const platform::LocalTime& time);

// "20240102-030405", the start of the names of data-file logs.
std::string LogFileStampWithoutMilliseconds(const platform::LocalTime& time);

}  // namespace idcardreader
