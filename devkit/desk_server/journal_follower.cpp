#include "desk_server/journal_follower.h"

#include <algorithm>
#include <fstream>
#include <utility>

namespace devkit {
namespace {

constexpr std::uintmax_t kMostOfAJournal = 1'100'000;  // a whole journal
constexpr std::size_t kLongestLine = 10'000;

}  // namespace

JournalFollower::JournalFollower(std::filesystem::path journal) : file(std::move(journal)) {
  std::ofstream(file, std::ios::binary | std::ios::trunc);
}

std::vector<nlohmann::json> JournalFollower::NewLines() {
  std::vector<nlohmann::json> lines;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  if (error || size == offset) return lines;
  if (size < offset) {
    offset = 0;
    rest.clear();
  }
  std::ifstream stream(file, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(offset));
  std::string bytes(static_cast<std::size_t>(std::min(size - offset, kMostOfAJournal)), '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
  offset += bytes.size();
  for (const char byte : bytes) {
    if (byte != '\n') {
      if (rest.size() < kLongestLine) rest += byte;
      continue;
    }
    nlohmann::json line = nlohmann::json::parse(std::exchange(rest, {}), nullptr, false);
    if (line.is_object()) lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace devkit
