#include "reader/system_door.h"

#include <optional>

#include "platform/hidapi.h"
#include "platform/process_wide.h"
#include "support/logs.h"

namespace idcardreader {
namespace {

using platform::HidApi;

using HidHandle = std::unique_ptr<hid_device, decltype(HidApi::close)>;

class HidDevice : public ReaderDevice {
 public:
  HidDevice(const HidApi& api, HidHandle opened) : api(api), device(std::move(opened)) {}

  int Write(const std::uint8_t* data, std::size_t count) override {
    return api.write(device.get(), data, count);
  }

  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
    return api.read_timeout(device.get(), data, capacity, static_cast<int>(timeoutMs));
  }

 private:
  const HidApi& api;
  HidHandle device;
};

class SystemDoor : public ReaderDoor {
 public:
  Result OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                 std::unique_ptr<ReaderDevice>& device) override {
    if (vendorId == 0 || productId == 0) {
      return Result::not_found;  // hidapi would take whatever device comes first
    }
    if (!hid) {
      std::string failure;
      hid = platform::LoadHidApi(failure);
      if (!hid) {
        ErrorLog().Log(failure);
        return Result::not_found;
      }
    }
    const std::unique_ptr<hid_device_info, decltype(HidApi::free_enumeration)> list(
        hid->enumerate(vendorId, productId), hid->free_enumeration);
    if (list == nullptr) {
      return Result::not_found;
    }
    device.reset();
    HidHandle opened(hid->open(list->vendor_id, list->product_id, list->serial_number), hid->close);
    if (opened == nullptr) {
      return Result::not_opened;
    }
    device = std::make_unique<HidDevice>(*hid, std::move(opened));
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

 private:
  std::optional<HidApi> hid;  // since the first use
};

platform::ProcessWide<SystemDoor> systemDoor;

}  // namespace

ReaderDoor& SystemReaderDoor() { return *systemDoor; }

void ReleaseSystemReaderDoor() { systemDoor.Destroy(); }

}  // namespace idcardreader
