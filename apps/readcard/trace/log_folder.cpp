#include "trace/log_folder.h"

#include <fstream>
#include <iterator>
#include <utility>

namespace readcard::trace {
namespace {

namespace fs = std::filesystem;

std::set<fs::path> FilesIn(const fs::path& folder) {
  std::set<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    files.insert(entry->path());
  }
  return files;
}

}  // namespace

LogFolder::LogFolder(fs::path place)
    : folder(std::move(place)),
      wasThere([this] {
        std::error_code ignored;
        return fs::exists(fs::symlink_status(folder, ignored));
      }()),
      before(FilesIn(folder)) {}

std::vector<fs::path> LogFolder::Find(std::string_view owner, Moment from, Moment to) const {
  std::vector<fs::path> found;
  for (const fs::path& file : FilesIn(folder)) {
    const std::u8string name = file.filename().u8string();
    const auto opened = OpenedAt(std::string(name.begin(), name.end()), owner);
    if (before.contains(file) || !opened || *opened < from || *opened > to) continue;
    found.push_back(file);
  }
  return found;
}

bool LogFolder::Remove(const fs::path& file) const {
  std::error_code error;
  const bool removed = fs::remove(file, error) || !error;
  std::error_code ignored;  // others may write there
  if (!wasThere) fs::remove(folder, ignored);
  return removed;
}

std::string FileText(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace readcard::trace
