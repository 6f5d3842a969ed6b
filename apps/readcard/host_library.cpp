#include "host_library.h"

#include <filesystem>
#include <vector>

#include "platform/files.h"

namespace readcard {
namespace {

namespace platform = idcardreader::platform;

std::filesystem::path FromUtf8(const std::string& text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

std::string LibraryFileName() { return platform::DynamicLibraryFileName("idcardreader"); }

// A path with its folder loads that very file, never another of its name.
std::vector<std::string> Candidates() {
  const std::filesystem::path folder = platform::ExecutableFolder();
  std::vector<std::string> candidates;
  for (const std::filesystem::path& place :
       {folder / LibraryFileName(), folder / ".." / "lib" / LibraryFileName()}) {
    std::error_code ignored;
    if (std::filesystem::exists(place, ignored)) candidates.push_back(platform::AnsiText(place));
  }
  // The name that an installed library has for programs; the other one comes with its headers.
  candidates.push_back(
      platform::DynamicLibraryFileName("idcardreader", IDCARDREADER_VERSION_MAJOR));
  return candidates;
}

}  // namespace

HostLibrary::HostLibrary(std::unique_ptr<platform::DynamicLibrary> opened)
    : loaded(std::move(opened)) {}

HostLibrary::~HostLibrary() {
  if (CloseComm != nullptr) CloseComm();
}

std::unique_ptr<HostLibrary> HostLibrary::Load(const std::string& path, std::string& complaint) {
  const std::vector<std::string> candidates =
      path.empty() ? Candidates() : std::vector{platform::AnsiText(FromUtf8(path))};
  for (const std::string& candidate : candidates) {
    auto loaded = platform::DynamicLibrary::Open(
        candidate, platform::DynamicLibrary::Dependencies::default_search);
    if (!loaded) continue;
    std::unique_ptr<HostLibrary> library(new HostLibrary(std::move(loaded)));
    if (!library->Bind(complaint)) return nullptr;
    return library;
  }
  complaint = "The library cannot be loaded: " +
              (path.empty() ? "there is no usable " + LibraryFileName() +
                                  " beside the program. Put it there, with the library of hidapi, "
                                  "or name it with --library."
                            : path +
                                  ". Check that the file exists, that it is built for 64 bits, and "
                                  "that the library of hidapi is beside it or installed.");
  return nullptr;
}

bool HostLibrary::Bind(std::string& complaint) {
  const auto bind = [&](const char* name, auto& function) {
    void* const symbol = loaded->Symbol(name);
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(symbol);
    if (symbol == nullptr) {
      complaint = std::string("The library lacks the function ") + name +
                  ": it is another one, or older than this program.";
    }
    return symbol != nullptr;
  };
  bool complete = true;
#define READCARD_BIND(name) complete = complete && bind(#name, name);
  READCARD_FUNCTIONS(READCARD_BIND)
#undef READCARD_BIND
  return complete;
}

}  // namespace readcard
