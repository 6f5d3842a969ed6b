// Takes the place of cfgmgr32.dll for a program under Wine 8.0. Of what the real hidapi.dll asks
// there, Wine answers one function with nothing and lacks another, so that no reader is ever found;
// its setup functions know the answers.

#include <windows.h>
// Behind windows.h, which they need.
#include <cfgmgr32.h>
#include <setupapi.h>

#include <algorithm>
#include <cstddef>
#include <string>

namespace {

// The paths of all interfaces of this kind that are there, each ended by a zero, and one more zero.
std::wstring InterfacePaths(const GUID* kind) {
  std::wstring paths;
  const HDEVINFO devices =
      SetupDiGetClassDevsW(kind, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
  if (devices != INVALID_HANDLE_VALUE) {
    SP_DEVICE_INTERFACE_DATA found{};
    found.cbSize = sizeof found;
    for (DWORD i = 0; SetupDiEnumDeviceInterfaces(devices, nullptr, kind, i, &found) != 0; ++i) {
      alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_W) std::byte room[2048];
      auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(room);
      detail->cbSize = sizeof *detail;
      if (SetupDiGetDeviceInterfaceDetailW(devices, &found, detail, sizeof room, nullptr,
                                           nullptr) != 0) {
        paths.append(detail->DevicePath).push_back(L'\0');
      }
    }
    SetupDiDestroyDeviceInfoList(devices);
  }
  paths.push_back(L'\0');
  return paths;
}

}  // namespace

extern "C" {

CONFIGRET WINAPI CM_Get_Device_Interface_List_SizeW(PULONG length, LPGUID kind, DEVINSTID_W,
                                                    ULONG) {
  *length = static_cast<ULONG>(InterfacePaths(kind).size());
  return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Get_Device_Interface_ListW(LPGUID kind, DEVINSTID_W, PWCHAR paths, ULONG size,
                                               ULONG) {
  const std::wstring found = InterfacePaths(kind);
  if (found.size() > size) return CR_BUFFER_SMALL;
  std::copy(found.begin(), found.end(), paths);
  return CR_SUCCESS;
}

// hidapi then leaves the interface's number and the bus open, and nothing else.
CONFIGRET WINAPI CM_Get_Device_Interface_PropertyW(LPCWSTR, const void*, void*, PBYTE, PULONG,
                                                   ULONG) {
  return CR_NO_SUCH_VALUE;
}
}
