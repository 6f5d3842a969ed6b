#include "platform/installation.h"

#include <windows.h>

namespace idcardreader::platform {

const char* HidApiFileName() { return "hidapi.dll"; }

std::string FileVersion(const std::filesystem::path& library) {
  DWORD ignored = 0;
  std::vector<char> resources(GetFileVersionInfoSizeW(library.c_str(), &ignored));
  void* fixed = nullptr;
  UINT length = 0;
  if (resources.empty() ||
      GetFileVersionInfoW(library.c_str(), 0, static_cast<DWORD>(resources.size()),
                          resources.data()) == 0 ||
      VerQueryValueW(resources.data(), L"\\", &fixed, &length) == 0) {
    return {};
  }
  const auto& info = *static_cast<const VS_FIXEDFILEINFO*>(fixed);
  return std::to_string(HIWORD(info.dwFileVersionMS)) + "." +
         std::to_string(LOWORD(info.dwFileVersionMS)) + "." +
         std::to_string(HIWORD(info.dwFileVersionLS));
}

bool MayWriteInto(const std::filesystem::path& folder) {
  const HANDLE handle = CreateFileW(folder.c_str(), FILE_ADD_FILE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  CloseHandle(handle);
  return true;
}

std::vector<DeviceNode> HidDeviceNodes(std::uint16_t, std::uint16_t) { return {}; }

std::vector<std::string> ProcessesWithOpenFile(const std::string&) { return {}; }

bool NamedEventExists(const char* name) {
  const HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, name);
  if (event == nullptr) return GetLastError() == ERROR_ACCESS_DENIED;
  CloseHandle(event);
  return true;
}

// A program with windows has none, which is no fault: nobody can be kept waiting by it. A pipe does
// not tell here whether it is read.
OutputState StandardOutputState() {
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  const bool there = output != nullptr && output != INVALID_HANDLE_VALUE;
  return there && GetFileType(output) != FILE_TYPE_UNKNOWN ? OutputState::read
                                                           : OutputState::closed;
}

}  // namespace idcardreader::platform
