// Offers the reader model to this machine's kernel as a USB HID device, so that a host meets it
// through the kernel and the real hidapi.

#include <fcntl.h>
#include <linux/uhid.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <thread>

#include "base/command_line.h"
#include "base/reader_commands.h"
#include "reader_model/desk.h"
#include "reader_model/reader_model.h"

namespace devkit {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kUsbBus = 0x03;
constexpr std::chrono::milliseconds kDeskPause(20);

// One input and one output report of 64 bytes, without report ids.
constexpr unsigned char kReportDescriptor[] = {
    0x06, 0x00, 0xFF,  // usage page: vendor defined
    0x09, 0x01,        // usage 1
    0xA1, 0x01,        // collection: application
    0x15, 0x00,        // logical minimum 0
    0x26, 0xFF, 0x00,  // logical maximum 255
    0x75, 0x08,        // 8 bits
    0x95, 0x40,        // 64 times
    0x09, 0x01,        // usage 1
    0x81, 0x02,        // input
    0x95, 0x40,        // 64 times
    0x09, 0x01,        // usage 1
    0x91, 0x02,        // output
    0xC0,              // end of the collection
};

volatile std::sig_atomic_t ended = 0;
void End(int) { ended = 1; }

class KernelDevice {
 public:
  explicit KernelDevice(const DeskState& desk) : file(open("/dev/uhid", O_RDWR | O_CLOEXEC)) {
    if (file < 0) {
      throw std::runtime_error(std::string("/dev/uhid cannot be opened: ") + std::strerror(errno));
    }
    uhid_event event{};
    event.type = UHID_CREATE2;
    uhid_create2_req& request = event.u.create2;
    std::snprintf(reinterpret_cast<char*>(request.name), sizeof request.name, "Devkit reader");
    std::memcpy(request.rd_data, kReportDescriptor, sizeof kReportDescriptor);
    request.rd_size = sizeof kReportDescriptor;
    request.bus = kUsbBus;
    request.vendor = desk.vendorId;
    request.product = desk.productId;
    Send(event);
  }
  ~KernelDevice() {
    uhid_event event{};
    event.type = UHID_DESTROY;
    static_cast<void>(!write(file, &event, sizeof event));
    close(file);
  }
  KernelDevice(const KernelDevice&) = delete;
  KernelDevice& operator=(const KernelDevice&) = delete;

  // Waits for what the kernel has to say; nothing when the time runs out.
  std::optional<uhid_event> Await(std::chrono::milliseconds limit) {
    pollfd waiting{file, POLLIN, 0};
    uhid_event event{};
    if (poll(&waiting, 1, static_cast<int>(limit.count())) <= 0 ||
        read(file, &event, sizeof event) <= 0) {
      return std::nullopt;
    }
    return event;
  }

  void SendReport(const ReaderOutput& output) {
    uhid_event event{};
    event.type = UHID_INPUT2;
    event.u.input2.size = kReportSize;
    std::memcpy(event.u.input2.data, output.bytes.data(),
                std::min<std::size_t>(output.bytes.size(), kReportSize));
    Send(event);
  }

 private:
  void Send(const uhid_event& event) {
    if (write(file, &event, sizeof event) < 0) {
      throw std::runtime_error(std::string("the kernel refused an event: ") + std::strerror(errno));
    }
  }

  int file;
};

// The bytes behind the report id.
ByteView RequestOf(const uhid_event& event) {
  const uhid_output_req& output = event.u.output;
  const std::size_t size = std::min<std::size_t>(output.size, sizeof output.data);
  const std::size_t idSize = size > kReportSize ? 1 : 0;
  return {output.data + idSize, size - idSize};
}

void Serve(DeskFile& deskFile) {
  ReaderModel reader;
  DeskState desk = deskFile.Look().value_or(DeskState());
  Apply(desk, {}, reader, SteadyClock::now());
  const auto lookAtDesk = [&] {
    if (const auto changed = deskFile.Look()) {
      Apply(*changed, desk.presentation, reader, SteadyClock::now());
      desk = *changed;
    }
  };
  std::optional<KernelDevice> device;  // as long as the reader is plugged in
  while (ended == 0) {
    lookAtDesk();
    if (const bool plugged = reader.Alive(reader.SessionNumber()); plugged != device.has_value()) {
      device.reset();
      if (plugged) device.emplace(desk);
      std::printf("%s reader %04X:%04X\n", plugged ? "offering" : "taking away", desk.vendorId,
                  desk.productId);
      std::fflush(stdout);
    }
    if (!device) {
      std::this_thread::sleep_for(kDeskPause);
      continue;
    }
    while (const auto output = reader.Take(SteadyClock::now())) {
      device->SendReport(*output);
    }
    auto pause = kDeskPause;
    if (const auto due = reader.NextDue()) {
      pause = std::min(pause, std::chrono::ceil<std::chrono::milliseconds>(
                                  std::max(*due - SteadyClock::now(), SteadyClock::duration(0))));
    }
    const auto event = device->Await(pause);
    if (!event) {
      continue;
    }
    if (event->type == UHID_OPEN) {
      reader.Open(SteadyClock::now());
    } else if (event->type == UHID_OUTPUT) {
      lookAtDesk();  // a request finds the desk as its sender left it
      reader.Request(RequestOf(*event), SteadyClock::now());
    }
  }
}

}  // namespace
}  // namespace devkit

int main(int argumentCount, char** arguments) {
  CLI::App app("Offers the devkit's reader as a HID device of this machine (needs /dev/uhid).");
  std::string desk;
  app.add_option("--desk", desk, "The desk file: which card lies on the reader")->required();
  if (const auto status = devkit::ParseCommandLine(app, argumentCount, arguments)) return *status;
  std::signal(SIGINT, devkit::End);
  std::signal(SIGTERM, devkit::End);
  try {
    devkit::DeskFile deskFile{std::filesystem::path(desk)};
    devkit::Serve(deskFile);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "kernel-reader: %s\n", failure.what());
    return 1;
  }
  return 0;
}
