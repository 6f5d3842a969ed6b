#include "desk_server/working_folder.h"

#include <chrono>
#include <fstream>
#include <random>
#include <system_error>
#include <thread>
#include <vector>

#include "base/json_file.h"
#include "datafile/data_files.h"
#include "platform/dynamic_library.h"

namespace devkit {
namespace {

namespace fs = std::filesystem;
namespace platform = idcardreader::platform;

#if defined(_WIN32)
constexpr char kVirtualReader[] = "hidapi.dll";
constexpr char kReadcard[] = "readcard.exe";
#else
constexpr char kVirtualReader[] = "libhidapi-hidraw.so.0";
constexpr char kReadcard[] = "readcard";
#endif
constexpr int kLibraryInterface = 2;
constexpr int kRenameAttempts = 50;
constexpr std::chrono::milliseconds kRenamePause(10);

fs::path FirstThatExists(const std::vector<fs::path>& places) {
  for (const fs::path& place : places) {
    std::error_code error;
    if (fs::exists(place, error)) return fs::canonical(place, error);
  }
  return {};
}

// On Debian these lie in the folder of the architecture.
std::vector<fs::path> WithSubfolders(const fs::path& folder, const fs::path& rest) {
  std::vector<fs::path> places;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->is_directory(error)) places.push_back(entry->path() / rest);
  }
  return places;
}

void CopyOnce(const fs::path& from, const fs::path& to) {
  if (from.empty() || fs::exists(to)) return;
  fs::create_directories(to);
  for (const auto& entry : fs::directory_iterator(from)) {
    if (entry.path().extension() == ".json") {
      fs::copy_file(entry.path(), to / entry.path().filename());
    }
  }
}

// A host may have the old one loaded: it must stay what it is, and on Windows where it is.
void CopyAnew(const fs::path& from, const fs::path& to) {
  if (from.empty()) return;
  fs::path draft = to;
  draft += ".part";
  std::error_code error;
  fs::copy_file(from, draft, fs::copy_options::overwrite_existing);
  fs::rename(draft, to, error);
  if (error) fs::remove(draft, error);
}

fs::path NewTemporaryFolder() {
  std::random_device random;
  for (;;) {
    const std::uint32_t number = random();
    fs::path folder =
        fs::temp_directory_path() / ("desk-" + std::to_string(number % 1'000'000'000));
    if (!fs::create_directory(folder)) continue;
    fs::permissions(folder, fs::perms::owner_all);
    return folder;
  }
}

#if !defined(_WIN32)
// As a shell takes it for one word.
std::string Quoted(const std::string& text) {
  if (text.find_first_of(" '\"$&;()<>|*?[]#~`\\\t\n") == std::string::npos) return text;
  std::string quoted = "'";
  for (const char letter : text) {
    if (letter == '\'') {
      quoted += "'\\''";
    } else {
      quoted += letter;
    }
  }
  return quoted + "'";
}
#endif

}  // namespace

ShippedParts FindShippedParts(const fs::path& programFolder, const fs::path& givenDevkit) {
  const fs::path root = programFolder.parent_path();
  const fs::path shared = root / "share" / "idcardreader";
  std::vector<fs::path> devkits = {root / "devkit", programFolder / "devkit", shared};
  if (!givenDevkit.empty()) devkits = {givenDevkit};
  ShippedParts parts;
  std::vector<fs::path> readers;
  for (const fs::path& devkit : devkits) {
    if (parts.cards.empty()) parts.cards = FirstThatExists({devkit / "cards"});
    if (parts.scenarios.empty()) parts.scenarios = FirstThatExists({devkit / "scenarios"});
    readers.push_back(devkit / "virtual-reader" / kVirtualReader);
  }
  if (parts.cards.empty() || parts.scenarios.empty()) {
    throw FileError(PathText(devkits.front()) + ": no folders cards and scenarios there");
  }
  const std::string plain = platform::DynamicLibraryFileName("idcardreader");
  const std::string numbered = platform::DynamicLibraryFileName("idcardreader", kLibraryInterface);
  std::vector<fs::path> libraries = {programFolder / plain, root / "lib" / plain,
                                     root / "lib" / numbered};
  for (const fs::path& place : WithSubfolders(root / "lib", numbered)) libraries.push_back(place);
  for (const fs::path& place :
       WithSubfolders(root / "lib", fs::path("idcardreader/virtual-reader") / kVirtualReader)) {
    readers.push_back(place);
  }
  parts.library = FirstThatExists(libraries);
  parts.virtualReader = FirstThatExists(readers);
  parts.readcard = FirstThatExists({programFolder / kReadcard});
  return parts;
}

WorkingFolder::WorkingFolder(const fs::path& given) {
  temporary = given.empty();
  if (temporary) {
    path = NewTemporaryFolder();
  } else {
    fs::create_directories(given);
    path = fs::canonical(given);
  }
}

void WorkingFolder::Fill(const ShippedParts& parts) const {
  CopyOnce(parts.cards, path / "cards");
  CopyOnce(parts.scenarios, path / "scenarios");
  CopyAnew(parts.virtualReader, path / kVirtualReader);
  CopyAnew(parts.library, path / platform::DynamicLibraryFileName("idcardreader"));
  const fs::path numbered =
      path / platform::DynamicLibraryFileName("idcardreader", kLibraryInterface);
  // One file under both names: the library's files lie beside what a link leads to, either way.
  if (!fs::exists(numbered) && !parts.library.empty()) {
    fs::create_symlink(platform::DynamicLibraryFileName("idcardreader"), numbered);
  }
  CopyAnew(parts.readcard, path / kReadcard);
}

void WorkingFolder::WriteDataFiles(std::uint16_t servicePort) const {
  const std::string endpoint = "127.0.0.1:" + std::to_string(servicePort);
  WriteDataFile(path / "appid.dat", AppIdLines("desk"));
  WriteDataFile(path / "hostport.dat", HostPortLines({endpoint, endpoint}));
}

void WorkingFolder::RemoveIfTemporary() const {
  std::error_code ignored;
  if (temporary) fs::remove_all(path, ignored);
}

std::string WorkingFolder::StartLine() const {
  fs::path native = path;
#if defined(_WIN32)
  const std::u8string text = native.make_preferred().u8string();
  return "set \"PATH=" + std::string(text.begin(), text.end()) + ";%PATH%\" && readcard.exe";
#else
  return "LD_LIBRARY_PATH=" + Quoted(PathText(native)) + " " + Quoted(PathText(native / kReadcard));
#endif
}

void WriteWholeFile(const fs::path& file, const std::string& content) {
  fs::path draft = file;
  draft += ".part";
  std::ofstream stream(draft, std::ios::binary | std::ios::trunc);
  stream << content;
  stream.close();
  if (!stream) throw std::system_error(std::make_error_code(std::errc::io_error), PathText(file));
  // On Windows nobody may be reading the old one meanwhile.
  std::error_code error;
  for (int attempt = 0; attempt < kRenameAttempts; ++attempt) {
    fs::rename(draft, file, error);
    if (!error) return;
    std::this_thread::sleep_for(kRenamePause);
  }
  throw std::system_error(error, PathText(file));
}

}  // namespace devkit
