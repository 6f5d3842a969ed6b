#pragma once

#include <cstddef>

// The part of hidapi's binary interface that the virtual reader takes over, in hidapi's own layout.
namespace devkit {

struct HidDevice;  // opaque

struct HidDeviceInfo {
  char* path;
  unsigned short vendorId;
  unsigned short productId;
  wchar_t* serialNumber;
  unsigned short releaseNumber;
  wchar_t* manufacturer;
  wchar_t* product;
  unsigned short usagePage;
  unsigned short usage;
  int interfaceNumber;
  HidDeviceInfo* next;
  int busType;
};

extern "C" {
HidDeviceInfo* hid_enumerate(unsigned short vendorId, unsigned short productId);
void hid_free_enumeration(HidDeviceInfo* devices);
HidDevice* hid_open(unsigned short vendorId, unsigned short productId, const wchar_t* serialNumber);
int hid_write(HidDevice* device, const unsigned char* data, std::size_t length);
int hid_read_timeout(HidDevice* device, unsigned char* data, std::size_t length, int milliseconds);
void hid_close(HidDevice* device);
}

}  // namespace devkit
