#include "desk_server/error_log_follower.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "platform/clock.h"
#include "platform/code_page.h"

namespace devkit {
namespace {

namespace platform = idcardreader::platform;

constexpr std::size_t kStampLength = 24;  // "2024:01:02|03:04:05|006|"
constexpr std::size_t kMostFolders = 16;
constexpr std::size_t kMostFiles = 3;  // the newest: as many hosts may be at work at once
constexpr std::uintmax_t kMostOfALog = 1'000'000;

std::string Stamp(const platform::LocalTime& time) {
  char text[96];
  std::snprintf(text, sizeof text, "%04d:%02d:%02d|%02d:%02d:%02d|%03d|", time.year, time.month,
                time.day, time.hour, time.minute, time.second, time.millisecond);
  return text;
}

}  // namespace

ErrorLogFollower::ErrorLogFollower() : start(Stamp(platform::SystemClock().Now())) {}

void ErrorLogFollower::AddLibrary(const std::filesystem::path& library) {
  const std::filesystem::path folder = library.parent_path();
  if (!folder.is_absolute() || folders.size() >= kMostFolders) return;
  if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
}

std::vector<LoggedError> ErrorLogFollower::NewLines() {
  std::vector<LoggedError> found;
  for (const std::filesystem::path& folder : folders) {
    std::error_code error;
    std::vector<std::filesystem::path> files;
    // The names begin with the time.
    for (std::filesystem::directory_iterator entry(folder / "errordata", error), end;
         !error && entry != end; entry.increment(error)) {
      if (entry->is_regular_file(error)) files.push_back(entry->path());
    }
    std::sort(files.begin(), files.end());
    if (files.size() > kMostFiles) files.erase(files.begin(), files.end() - kMostFiles);
    for (const std::filesystem::path& file : files) Follow(folder, file, found);
  }
  return found;
}

void ErrorLogFollower::Follow(const std::filesystem::path& folder,
                              const std::filesystem::path& file, std::vector<LoggedError>& found) {
  std::uintmax_t& offset = offsets[file];
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  if (error || size <= offset) return;
  std::ifstream stream(file, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(offset));
  std::string bytes(static_cast<std::size_t>(std::min(size - offset, kMostOfALog)), '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
  std::size_t begin = 0;
  for (std::size_t end = bytes.find('\n'); end != std::string::npos;
       end = bytes.find('\n', begin)) {
    std::string line = bytes.substr(begin, end - begin);
    begin = end + 1;
    if (line.ends_with('\r')) line.pop_back();
    if (line.size() <= kStampLength || line.substr(0, kStampLength) < start) continue;
    found.push_back(
        {folder, platform::Utf16ToUtf8(platform::GbkToUtf16(line.substr(kStampLength)))});
  }
  // A line without an end is looked at again, unless it is longer than any.
  offset += begin == 0 && bytes.size() == kMostOfALog ? bytes.size() : begin;
}

}  // namespace devkit
