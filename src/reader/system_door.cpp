#include "reader/system_door.h"

#include <hidapi/hidapi.h>

#include "support/process_wide.h"

namespace idcardreader {
namespace {

struct CloseHid {
  void operator()(hid_device* device) const { hid_close(device); }
};

struct FreeEnumeration {
  void operator()(hid_device_info* list) const { hid_free_enumeration(list); }
};

class HidDevice : public ReaderDevice {
 public:
  explicit HidDevice(hid_device* device) : device(device) {}

  int Write(const std::uint8_t* data, std::size_t count) override {
    return hid_write(device.get(), data, count);
  }

  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
    return hid_read_timeout(device.get(), data, capacity, static_cast<int>(timeoutMs));
  }

 private:
  std::unique_ptr<hid_device, CloseHid> device;
};

class SystemDoor : public ReaderDoor {
 public:
  Result OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                 std::unique_ptr<ReaderDevice>& device) override {
    const std::unique_ptr<hid_device_info, FreeEnumeration> list(
        hid_enumerate(vendorId, productId));
    if (list == nullptr) {
      return Result::not_found;
    }
    device.reset();
    hid_device* opened = hid_open(list->vendor_id, list->product_id, list->serial_number);
    if (opened == nullptr) {
      return Result::not_opened;
    }
    device = std::make_unique<HidDevice>(opened);
    return Result::opened;
  }

  std::unique_ptr<platform::CPort> OpenSerial(const std::string& portName,
                                              std::uint32_t baud) override {
    auto port = std::make_unique<platform::ComAccess>();
    if (!port->Open(portName, baud)) {
      return nullptr;
    }
    return port;
  }
};

ProcessWide<SystemDoor> systemDoor;

}  // namespace

ReaderDoor& SystemReaderDoor() { return *systemDoor; }

}  // namespace idcardreader
