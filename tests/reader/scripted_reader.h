#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/mutex.h"
#include "reader/reader_backend.h"
#include "support/bytes.h"
#include "support/test_clock.h"
#include "support/text.h"

namespace idcardreader {

// Stands in for the reader on the desk, on USB or on a serial line: a card lies on it and every
// command succeeds, until a test scripts other reports for a command. Its members are the reader's
// thread's while something runs; Commands alone may be called then.
class ScriptedReader : public ReaderBackend {
 public:
  using Report = std::vector<std::uint8_t>;
  using Reports = std::vector<Report>;
  using DevicePointer = std::unique_ptr<ReaderDevice>;

  // A whole answer that begins with these bytes; the rest counts up from 21, so that the bytes 2
  // and on of an answer without data are those of the shared samples.
  static Report Reply(std::string_view hex) {
    Report report = Bytes(hex);
    for (std::uint8_t next = 0x21; report.size() < 64; ++next) report.push_back(next);
    return report;
  }
  static inline const Report kNothing = {};  // no report within the time
  static inline const Report kLost = {0xDE, 0xAD};

  // The reports that the next command of this code brings, instead of its usual ones.
  void Script(std::uint8_t command, Reports reports) {
    scripts[command].push_back(std::move(reports));
  }
  std::map<std::uint8_t, std::deque<Reports>> scripts;
  std::deque<Report> pending;  // reports that lie about
  std::int32_t openFailure = ERRORT_None;
  bool writesFail = false;
  std::function<void(std::uint8_t command)> onRead;  // before a report of this command is read
  // What a command brings, unless reports were scripted for it.
  std::function<Reports(const Report& request)> onWrite = Usual;
  // A serial line brings so much at once, and takes so long for it by this clock, by which silence
  // passes as well.
  std::size_t pieceSize = 64;
  std::uint32_t pieceMs = 0;
  TestClock* clock = nullptr;

  // --- what happened ---
  // The command codes, and the file ids behind theirs: "30 64 06 0B11".
  std::string Commands() {
    const std::lock_guard guard(mutex);
    std::string text;
    for (const Report& report : written) {
      text += (text.empty() ? "" : " ") + HexText(&report[1], report[1] == 0x0B ? 2 : 1);
    }
    return text;
  }
  std::vector<Report> written;
  std::vector<std::uint32_t> timeouts;
  std::vector<std::string> opened;  // "USB", "COM7@9600"

  ReaderOutcome OpenHid(std::uint16_t, std::uint16_t, DevicePointer& device) override {
    return Open("USB", device);
  }
  ReaderOutcome OpenSerial(const std::string& portName, std::uint32_t baud,
                           DevicePointer& device) override {
    return Open(portName + "@" + std::to_string(baud), device);
  }

  static Reports Usual(const Report& request) {
    if (request[1] == 0x0B) {  // the file's bytes are zeros
      return Reports((request[3] * 256U + request[4] + 59) / 60, Report(64, 0));
    }
    static const std::map<std::uint8_t, std::string> data = {
        {0x0C, "E001020304050607"}, {0x0D, "0404DEADBEEF"}, {0x30, "A1A2A3A4A5A6"}, {0x64, "0284"}};
    const auto known = data.find(request[1]);
    return {Reply(HexText(&request[1], 1) + "00" + (known == data.end() ? "" : known->second))};
  }

 private:
  struct Device : ReaderDevice {
    Device(ScriptedReader& reader, bool serial) : reader(reader), serial(serial) {}

    int Write(const std::uint8_t* data, std::size_t count) override {
      Report request(serial ? 1 : 0);
      request.insert(request.end(), data, data + count);
      auto& scripted = reader.scripts[request[1]];
      const Reports reports = scripted.empty() ? reader.onWrite(request) : scripted.front();
      if (!scripted.empty()) scripted.pop_front();
      reader.pending.insert(reader.pending.end(), reports.begin(), reports.end());
      const std::lock_guard guard(reader.mutex);
      reader.written.push_back(request);
      return reader.writesFail ? -1 : static_cast<int>(count);
    }

    int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
      // Not for a look at what lies there.
      if (reader.onRead && timeoutMs > 0) reader.onRead(reader.written.back()[1]);
      reader.timeouts.push_back(timeoutMs);
      if (serial && !PieceComes(timeoutMs)) return -1;
      if (reader.pending.empty()) {
        if (!serial) reader.Spend(timeoutMs);
        return 0;
      }
      Report report = reader.pending.front();
      reader.pending.pop_front();
      if (report == kLost) return -1;
      const std::size_t count =
          std::min({report.size(), capacity, serial ? reader.pieceSize : capacity});
      std::copy_n(report.begin(), count, data);
      report.erase(report.begin(), report.begin() + static_cast<std::ptrdiff_t>(count));
      if (!report.empty()) reader.pending.push_front(report);
      return static_cast<int>(count);
    }

    // Whether the next piece is there within the time, which then has passed.
    bool PieceComes(std::uint32_t timeoutMs) {
      const std::uint32_t leftMs = reader.pieceMs - waitedMs;
      const bool comes = !reader.pending.empty() && leftMs < timeoutMs;
      reader.Spend(comes ? leftMs : timeoutMs);
      waitedMs = comes || reader.pending.empty() ? 0 : waitedMs + timeoutMs;
      return comes;
    }

    ScriptedReader& reader;
    const bool serial;
    std::uint32_t waitedMs = 0;  // for the next piece
  };

  ReaderOutcome Open(std::string name, DevicePointer& device) {
    const bool serial = name != "USB";
    opened.push_back(std::move(name));
    if (openFailure != ERRORT_None) return ReaderOutcome::Failed(openFailure);
    device = std::make_unique<Device>(*this, serial);
    return {};
  }

  void Spend(std::uint32_t milliseconds) const {
    if (clock != nullptr) clock->ticks += milliseconds;
  }

  platform::CSMutex mutex;  // guards what is written
};

}  // namespace idcardreader
