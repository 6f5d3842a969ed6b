#include "platform/hidapi.h"

#include <windows.h>

#include <filesystem>
#include <iterator>

#include "platform/code_page.h"
#include "platform/files.h"

namespace idcardreader::platform {

namespace {

constexpr wchar_t kFileName[] = L"hidapi.dll";

// Otherwise the system would show the user of the machine what is wrong with a file, and wait.
class WithoutMessageBoxes {
 public:
  WithoutMessageBoxes() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before); }
  ~WithoutMessageBoxes() { SetThreadErrorMode(before, nullptr); }
  WithoutMessageBoxes(const WithoutMessageBoxes&) = delete;
  WithoutMessageBoxes& operator=(const WithoutMessageBoxes&) = delete;

 private:
  DWORD before = 0;
};

std::string FailureText(const std::filesystem::path& file, DWORD error) {
  wchar_t words[512] = L"";
  FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                 words, static_cast<DWORD>(std::size(words)), nullptr);
  std::wstring text = file.native() + L": (" + std::to_wstring(error) + L") " + words;
  text.erase(text.find_last_not_of(L"\r\n ") + 1);
  return Utf16ToGbk(std::u16string(text.begin(), text.end()));
}

HMODULE Load(std::string& failure) {
  const WithoutMessageBoxes guard;
  if (const HMODULE found = LoadLibraryW(kFileName)) return found;
  const DWORD error = GetLastError();
  const std::filesystem::path own = LibraryFolder() / kFileName;
  const HMODULE module = LoadLibraryExW(own.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module != nullptr) return module;
  const DWORD ownError = GetLastError();
  failure = ownError == ERROR_MOD_NOT_FOUND && error != ERROR_MOD_NOT_FOUND
                ? FailureText(kFileName, error)  // there is one, but not a good one
                : FailureText(own, ownError);
  return nullptr;
}

template <typename Function>
bool Resolve(HMODULE module, const char* name, Function& function) {
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  return function != nullptr;
}

}  // namespace

std::optional<HidApi> LoadHidApi(std::string& failure) {
  const HMODULE module = Load(failure);
  if (module == nullptr) return std::nullopt;
  HidApi api;
  api.library = std::shared_ptr<void>(
      module, [](void* loaded) { FreeLibrary(static_cast<HMODULE>(loaded)); });
  const bool complete = Resolve(module, "hid_enumerate", api.enumerate) &&
                        Resolve(module, "hid_free_enumeration", api.free_enumeration) &&
                        Resolve(module, "hid_open", api.open) &&
                        Resolve(module, "hid_write", api.write) &&
                        Resolve(module, "hid_read_timeout", api.read_timeout) &&
                        Resolve(module, "hid_close", api.close);
  if (complete) {
    Resolve(module, "hid_error", api.error);
    return api;
  }
  failure = FailureText(kFileName, GetLastError());
  return std::nullopt;
}

}  // namespace idcardreader::platform
