// The functions of hidapi that a host of this reader calls. No exception may leave them, and
// nothing here is destroyed at process exit: a thread may still wait for a report then.

#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <exception>
#include <iterator>

#include "base/json_file.h"
#include "platform/files.h"
#include "platform/loaded_library.h"
#include "platform/process.h"
#include "virtual_reader/hidapi_abi.h"
#include "virtual_reader/virtual_reader.h"

namespace devkit {
namespace {

constexpr wchar_t kSerialNumber[] = L"VR0001";
constexpr wchar_t kManufacturer[] = L"Devkit";
constexpr wchar_t kProduct[] = L"Virtual Reader";
constexpr char kPath[] = "virtual-reader:0";

std::filesystem::path DeskPath() {
  const char* given = std::getenv("VIRTUAL_READER_DESK");
  if (given != nullptr && *given != '\0') return PathFromText(given);
  return idcardreader::platform::LibraryFolder() / "virtual-reader.json";
}

VirtualReader& Reader() {
  // The state outlives every open and close of the host, so the library stays with it.
  static VirtualReader& reader = []() -> VirtualReader& {
    idcardreader::platform::PinModule();
    auto& made = *new VirtualReader(
        DeskPath(), {idcardreader::platform::ProcessNumber(),
                     [] { return idcardreader::platform::LoadedLibraryFile("idcardreader"); }});
    made.Announce();
    return made;
  }();
  return reader;
}

template <class Text, std::size_t count>
Text* Copy(const Text (&text)[count]) {
  Text* copy = static_cast<Text*>(std::malloc(sizeof(text)));
  if (copy != nullptr) std::copy(std::begin(text), std::end(text), copy);
  return copy;
}

int HandleOf(HidDevice* device) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(device));
}

}  // namespace

HidDeviceInfo* hid_enumerate(unsigned short vendorId, unsigned short productId) try {
  if (!Reader().Enumerate(vendorId, productId)) return nullptr;
  auto* info = static_cast<HidDeviceInfo*>(std::calloc(1, sizeof(HidDeviceInfo)));
  if (info == nullptr) return nullptr;
  info->path = Copy(kPath);
  info->vendorId = vendorId;
  info->productId = productId;
  info->serialNumber = Copy(kSerialNumber);
  info->releaseNumber = 0x0100;
  info->manufacturer = Copy(kManufacturer);
  info->product = Copy(kProduct);
  info->interfaceNumber = 0;
  info->busType = 1;  // USB
  return info;
} catch (const std::exception&) {
  return nullptr;
}

void hid_free_enumeration(HidDeviceInfo* devices) {
  while (devices != nullptr) {
    HidDeviceInfo* next = devices->next;
    std::free(devices->path);
    std::free(devices->serialNumber);
    std::free(devices->manufacturer);
    std::free(devices->product);
    std::free(devices);
    devices = next;
  }
}

HidDevice* hid_open(unsigned short vendorId, unsigned short productId,
                    const wchar_t* serialNumber) try {
  if (serialNumber != nullptr && std::wcscmp(serialNumber, kSerialNumber) != 0) return nullptr;
  return reinterpret_cast<HidDevice*>(
      static_cast<std::intptr_t>(Reader().Open(vendorId, productId)));
} catch (const std::exception&) {
  return nullptr;
}

int hid_write(HidDevice* device, const unsigned char* data, std::size_t length) try {
  if (data == nullptr) return -1;
  return Reader().Write(HandleOf(device), data, length);
} catch (const std::exception&) {
  return -1;
}

int hid_read_timeout(HidDevice* device, unsigned char* data, std::size_t length,
                     int milliseconds) try {
  if (data == nullptr) return -1;
  return Reader().Read(HandleOf(device), data, length, milliseconds);
} catch (const std::exception&) {
  return -1;
}

void hid_close(HidDevice* device) try {
  Reader().Close(HandleOf(device));
} catch (const std::exception&) {
}

// Asked without a device, as a host does behind an opening that failed.
const wchar_t* hid_error(HidDevice*) { return L"the virtual reader cannot be opened\r\n"; }

}  // namespace devkit
