// hidapi for a host that is searched for what a card holds: the reader is in another process, and no
// byte of a report is kept here, not even on the stack.

#include <sys/uio.h>

#include <mutex>

#include "memory/host/protocol.h"
#include "virtual_reader/hidapi_abi.h"

namespace {

int Ask(memorytest::ReaderRequest request, const unsigned char* written = nullptr,
        std::size_t writtenLength = 0, unsigned char* answer = nullptr, std::size_t room = 0) {
  static std::mutex oneAtATime;
  const std::lock_guard guard(oneAtATime);
  int result = -1;
  const iovec sent[] = {{&request, sizeof request},
                        {const_cast<unsigned char*>(written), writtenLength}};
  const iovec received[] = {{&result, sizeof result}, {answer, room}};
  const bool answered =
      writev(memorytest::kReader, sent, 2) > 0 && readv(memorytest::kReader, received, 2) > 0;
  return answered ? result : -1;
}

devkit::HidDeviceInfo theReader{};

}  // namespace

namespace devkit {

using memorytest::ReaderRequest;

HidDeviceInfo* hid_enumerate(unsigned short vendorId, unsigned short productId) {
  theReader.vendorId = vendorId;
  theReader.productId = productId;
  return &theReader;
}

void hid_free_enumeration(HidDeviceInfo*) {}

HidDevice* hid_open(unsigned short, unsigned short, const wchar_t*) {
  return Ask({ReaderRequest::open, 0}) > 0 ? reinterpret_cast<HidDevice*>(&theReader) : nullptr;
}

int hid_write(HidDevice*, const unsigned char* data, std::size_t length) {
  return Ask({ReaderRequest::write, 0}, data, length);
}

int hid_read_timeout(HidDevice*, unsigned char* data, std::size_t length, int milliseconds) {
  return Ask({ReaderRequest::read, milliseconds}, nullptr, 0, data, length);
}

void hid_close(HidDevice*) { Ask({ReaderRequest::close, 0}); }

}  // namespace devkit
