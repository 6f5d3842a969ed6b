#pragma once

namespace devkit {

// One entry of an enumeration, in hidapi's own layout.
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

}  // namespace devkit
