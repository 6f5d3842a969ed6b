#pragma once

#include <algorithm>
#include <deque>
#include <memory>
#include <string>

#include "base/script.h"
#include "reader/reader_backend.h"
#include "world/virtual_clock.h"

namespace fuzz {

// A reader with a card on it, on a USB and on a serial line. With each command the script says
// whether it behaves.
class FuzzedReader : public idcardreader::ReaderBackend {
 public:
  using Outcome = idcardreader::ReaderOutcome;
  using DevicePointer = std::unique_ptr<idcardreader::ReaderDevice>;

  FuzzedReader(Script& script, VirtualClock& clock) : script(script), clock(clock) {}

  // What lies about unread belongs to nobody any more.
  void Forget() { reports.clear(); }

  Outcome OpenHid(std::uint16_t, std::uint16_t, DevicePointer& device) override {
    const std::size_t choice = script.Choice(3);
    if (choice == 1) return Outcome::Failed(idcardreader::ERRORT_NoReader);
    if (choice == 2) return Outcome::Failed(idcardreader::ERRORT_ReaderNotOpened);
    device = std::make_unique<Device>(*this, false);
    return {};
  }
  Outcome OpenSerial(const std::string&, std::uint32_t, DevicePointer& device) override {
    if (script.Choice(3) != 0) return Outcome::Failed(idcardreader::ERRORT_SerialPort);
    device = std::make_unique<Device>(*this, true);
    return {};
  }

 private:
  static constexpr char kSearch = 0x01, kReadFile = 0x0B, kUidTypeA = 0x0D;

  struct Device : idcardreader::ReaderDevice {
    Device(FuzzedReader& reader, bool serial) : reader(reader), serial(serial) {}
    int Write(const std::uint8_t* data, std::size_t count) override {
      return reader.Take({data + (serial ? 0 : 1), data + count}) ? static_cast<int>(count) : -1;
    }
    int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
      const int count = reader.Give(data, capacity, timeoutMs);
      return serial && count == 0 ? -1 : count;
    }
    FuzzedReader& reader;
    const bool serial;
  };

  bool Take(const std::string& command) {
    if (const std::size_t threads = script.Choice(8); threads > 4) RunThread(threads);
    const std::size_t before = reports.size();
    const std::size_t choice = script.Choice(12);
    const std::uint8_t byte = choice == 4 || choice == 7 || choice == 8 ? script.Byte() : 0;
    switch (choice) {
      case 1:
        return false;
      case 2:  // the transfer fails when the answer is read
        reports.emplace_back();
        return true;
      case 3:  // silence
        return true;
      case 4:  // a status
        Report({command[0], static_cast<char>(byte)});
        return true;
      case 5:
        Report(script.ShortText());
        return true;
      case 7:  // an answer to another command comes first
        Report(GoodAnswer(static_cast<char>(byte)));
        break;
      case 8:  // a card is reported meanwhile
        Report({kSearch, static_cast<char>(byte), static_cast<char>(script.Byte())});
        break;
    }
    Answer(command);
    if (choice == 6) reports[before].resize(1 + script.Choice(reports[before].size()));
    if (choice == 10) {  // the card's file breaks off
      reports.resize(before + script.Choice(reports.size() - before) + 1);
    }
    if (choice == 11) Report({kSearch, 16, 8});
    return true;
  }

  // The bytes of the next report, 0 when none comes in the time, -1 when the transfer fails.
  int Give(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) {
    if (reports.empty()) {
      clock.Spend(timeoutMs);
      return 0;
    }
    const std::string report = std::move(reports.front());
    reports.pop_front();
    if (report.empty()) return -1;
    const std::size_t count = std::min(capacity, report.size());
    std::copy_n(report.begin(), count, data);
    return static_cast<int>(count);
  }

  static std::string GoodAnswer(char command) {
    return command == kUidTypeA ? std::string{command, 0, 4, 4} : std::string{command, 0};
  }

  void Report(std::string text) {
    text.resize(64, '\x2A');
    reports.push_back(std::move(text));
  }

  void Answer(const std::string& command) {
    if (command[0] != kReadFile || command.size() < 4) return Report(GoodAnswer(command[0]));
    const std::size_t length =
        static_cast<std::uint8_t>(command[2]) * 256U + static_cast<std::uint8_t>(command[3]);
    for (std::size_t sent = 0; sent < length; sent += 60) Report({});
  }

  Script& script;
  VirtualClock& clock;
  std::deque<std::string> reports;  // an empty one is a transfer that fails
};

}  // namespace fuzz
