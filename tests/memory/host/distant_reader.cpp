// hidapi for a host that is searched for what a card holds: the reader is in another process, and no
// byte of a report is kept here, not even on the stack.

#include <poll.h>
#include <unistd.h>

#include "memory/host/protocol.h"
#include "virtual_reader/hidapi_abi.h"

namespace devkit {

static HidDeviceInfo theReader{};

HidDeviceInfo* hid_enumerate(unsigned short vendorId, unsigned short productId) {
  theReader.vendorId = vendorId;
  theReader.productId = productId;
  return &theReader;
}

void hid_free_enumeration(HidDeviceInfo*) {}

HidDevice* hid_open(unsigned short, unsigned short, const wchar_t*) {
  return reinterpret_cast<HidDevice*>(&theReader);
}

int hid_write(HidDevice*, const unsigned char* data, std::size_t length) {
  return static_cast<int>(write(memorytest::kReader, data, length));
}

int hid_read_timeout(HidDevice*, unsigned char* data, std::size_t length, int milliseconds) {
  pollfd reader{memorytest::kReader, POLLIN, 0};
  const bool comes = poll(&reader, 1, milliseconds) == 1;
  return comes ? static_cast<int>(read(memorytest::kReader, data, length)) : 0;
}

void hid_close(HidDevice*) {}

}  // namespace devkit
