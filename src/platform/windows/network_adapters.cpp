#include "platform/network_adapters.h"

#include <winsock2.h>

// Behind winsock2.h, which refuses to come second.
#include <windows.h>

// Behind windows.h, whose types it takes for granted.
#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/dynamic_library.h"

namespace idcardreader::platform {

namespace {

using GetAdaptersInfoFunction = ULONG(WINAPI*)(IP_ADAPTER_INFO*, ULONG*);

NetworkAdapter Describe(const IP_ADAPTER_INFO& info) {
  const std::size_t length = std::min<std::size_t>(info.AddressLength, sizeof info.Address);
  const char* end = std::find(info.Description, info.Description + sizeof info.Description, '\0');
  return {std::string(info.Description, end),
          std::vector<std::uint8_t>(info.Address, info.Address + length)};
}

}  // namespace

std::vector<NetworkAdapter> ListNetworkAdapters() {
  const auto library =
      DynamicLibrary::Open("Iphlpapi.dll", DynamicLibrary::Dependencies::default_search);
  if (library == nullptr) return {};
  const auto getAdaptersInfo =
      reinterpret_cast<GetAdaptersInfoFunction>(library->Symbol("GetAdaptersInfo"));
  if (getAdaptersInfo == nullptr) return {};

  ULONG size = 0;
  if (getAdaptersInfo(nullptr, &size) != ERROR_BUFFER_OVERFLOW) return {};
  const std::size_t records = size / sizeof(IP_ADAPTER_INFO) + 1;
  std::vector<IP_ADAPTER_INFO> buffer(records);
  if (getAdaptersInfo(buffer.data(), &size) != ERROR_SUCCESS) return {};

  std::vector<NetworkAdapter> adapters;
  for (const IP_ADAPTER_INFO* info = buffer.data(); info != nullptr; info = info->Next) {
    adapters.push_back(Describe(*info));
  }
  return adapters;
}

}  // namespace idcardreader::platform
