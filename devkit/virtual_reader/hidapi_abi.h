#pragma once

#include <cstddef>

#include "virtual_reader/hid_device_info.h"

// The part of hidapi's binary interface that the virtual reader takes over.
namespace devkit {

struct HidDevice;  // opaque

extern "C" {
HidDeviceInfo* hid_enumerate(unsigned short vendorId, unsigned short productId);
void hid_free_enumeration(HidDeviceInfo* devices);
HidDevice* hid_open(unsigned short vendorId, unsigned short productId, const wchar_t* serialNumber);
int hid_write(HidDevice* device, const unsigned char* data, std::size_t length);
int hid_read_timeout(HidDevice* device, unsigned char* data, std::size_t length, int milliseconds);
void hid_close(HidDevice* device);
const wchar_t* hid_error(HidDevice* device);
}

}  // namespace devkit
