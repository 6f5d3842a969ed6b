#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/files.h"

namespace idcardreader {

// The start of the name of a log: "20240102-030405006-", and "20240102-030405".
std::string LogFileStamp(const platform::LocalTime& time);
std::string LogFileStampWithoutMilliseconds(const platform::LocalTime& time);

// Opens folder/stamp+name+".txt" for appending text, making the folder first. Null when that fails.
platform::File OpenLogFile(const std::filesystem::path& folder, const std::string& stamp,
                           const std::string& name);

// "2024:01:02|03:04:05|006|" and the message, with the line's end. The text is no format.
std::string LogLine(const platform::LocalTime& time, std::string_view message);

}  // namespace idcardreader
