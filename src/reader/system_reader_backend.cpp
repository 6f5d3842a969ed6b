#include <optional>
#include <string_view>
#include <utility>

#include "platform/code_page.h"
#include "platform/hidapi.h"
#include "platform/process_wide.h"
#include "platform/serial_port.h"
#include "reader/reader_backend.h"
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

class SerialDevice : public ReaderDevice {
 public:
  int Write(const std::uint8_t* data, std::size_t count) override {
    return port.WriteData(data, static_cast<std::uint32_t>(count));
  }
  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
    return port.ReadData(data, static_cast<std::uint32_t>(capacity), timeoutMs);
  }

  platform::ComAccess port;
};

std::string OpenFailure(const HidApi& api) {
  const wchar_t* const text = api.error != nullptr ? api.error(nullptr) : nullptr;
  const std::wstring_view words = text != nullptr ? text : L"";
  return platform::Utf16ToUtf8(std::u16string(words.begin(), words.end()));
}

// Ahead of the code's own text, which has to stay the log's last message. The system's words come
// with line breaks around them.
void LogCause(const std::string& cause) {
  const std::size_t first = cause.find_first_not_of("\r\n ");
  if (first != std::string::npos) {
    ErrorLog().Log(cause.substr(first, cause.find_last_not_of("\r\n ") + 1 - first));
  }
}

class SystemBackend : public ReaderBackend {
 public:
  ReaderOutcome OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                        std::unique_ptr<ReaderDevice>& device) override {
    if (!hid) {
      std::string failure;
      hid = platform::LoadHidApi(failure);
      if (!hid) {
        ErrorLog().Log(failure);
        return ReaderOutcome::Failed(ERRORT_NoReader);
      }
    }
    const std::unique_ptr<hid_device_info, decltype(HidApi::free_enumeration)> list(
        hid->enumerate(vendorId, productId), hid->free_enumeration);
    if (list == nullptr) {
      return ReaderOutcome::Failed(ERRORT_NoReader);
    }
    device.reset();
    HidHandle opened(hid->open(list->vendor_id, list->product_id, list->serial_number), hid->close);
    if (opened == nullptr) {
      LogCause(OpenFailure(*hid));
      return ReaderOutcome::Failed(ERRORT_ReaderNotOpened);
    }
    device = std::make_unique<HidDevice>(*hid, std::move(opened));
    return {};
  }

  ReaderOutcome OpenSerial(const std::string& portName, std::uint32_t baud,
                           std::unique_ptr<ReaderDevice>& device) override {
    auto opened = std::make_unique<SerialDevice>();
    if (!opened->port.Open(portName, baud)) {
      LogCause(opened->port.LastErrorText());
      return ReaderOutcome::Failed(ERRORT_SerialPort);
    }
    device = std::move(opened);
    return {};
  }

 private:
  std::optional<HidApi> hid;  // since the first use
};

platform::ProcessWide<SystemBackend> systemBackend;

}  // namespace

ReaderBackend& SystemReaderBackend() { return *systemBackend; }

void ReleaseSystemReaderBackend() { systemBackend.Destroy(); }

}  // namespace idcardreader
