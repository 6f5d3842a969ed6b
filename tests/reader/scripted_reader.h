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
// command succeeds, until a test scripts other reports for a command.
class ScriptedReader : public ReaderBackend {
 public:
  using Report = std::vector<std::uint8_t>;

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
  void Script(std::uint8_t command, std::vector<Report> reports) {
    const std::lock_guard guard(mutex);
    scripts[command].push_back(std::move(reports));
  }
  // Reports that lie about already.
  void Pend(const Report& report, std::size_t count = 1) {
    const std::lock_guard guard(mutex);
    pending.insert(pending.end(), count, report);
  }
  void Forget() {
    const std::lock_guard guard(mutex);
    pending.clear();
  }

  // --- the script; not changed while a read runs ---
  std::int32_t openFailure = ERRORT_None;
  bool writesFail = false;
  std::function<void(std::uint8_t command)> onRead;  // before a report of this command is read
  // With a clock, a serial line takes so long for each piece of an answer.
  TestClock* clock = nullptr;
  std::uint32_t pieceMs = 0;

  // --- what happened ---
  std::vector<Report> Written() {
    const std::lock_guard guard(mutex);
    return written;
  }
  // The command codes, and the file ids behind theirs: "30 64 06 0B11".
  std::string Commands() {
    std::string text;
    for (const Report& report : Written()) {
      const std::size_t count = report[1] == 0x0B ? 2 : 1;
      text += (text.empty() ? "" : " ") + HexText(&report[1], count);
    }
    return text;
  }
  std::vector<std::uint32_t> Timeouts() {
    const std::lock_guard guard(mutex);
    return timeouts;
  }
  std::size_t ReportsLeft() {
    const std::lock_guard guard(mutex);
    return pending.size();
  }
  int opened = 0;     // how often
  int openNow = 0;    // devices
  std::string ports;  // "COM7@9600 "

  ReaderOutcome OpenHid(std::uint16_t, std::uint16_t,
                        std::unique_ptr<ReaderDevice>& device) override {
    return Open(device, false);
  }
  ReaderOutcome OpenSerial(const std::string& portName, std::uint32_t baud,
                           std::unique_ptr<ReaderDevice>& device) override {
    ports += portName + "@" + std::to_string(baud) + " ";
    return Open(device, true);
  }

 private:
  class Device : public ReaderDevice {
   public:
    Device(ScriptedReader& reader, bool serial) : reader(reader), serial(serial) {
      ++reader.openNow;
    }
    ~Device() override { --reader.openNow; }
    int Write(const std::uint8_t* data, std::size_t count) override {
      Report request(data, data + count);
      if (serial) request.insert(request.begin(), 0);
      return reader.Write(request);
    }
    int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) override {
      return serial && !reader.PieceComes(timeoutMs) ? -1 : reader.Read(data, capacity, timeoutMs);
    }

   private:
    ScriptedReader& reader;
    const bool serial;
  };

  ReaderOutcome Open(std::unique_ptr<ReaderDevice>& device, bool serial) {
    ++opened;
    if (openFailure != ERRORT_None) return ReaderOutcome::Failed(openFailure);
    device = std::make_unique<Device>(*this, serial);
    return {};
  }

  int Write(const Report& request) {
    const std::lock_guard guard(mutex);
    if (writesFail) return -1;
    written.push_back(request);
    auto& scripted = scripts[request[1]];
    const std::vector<Report> reports = scripted.empty() ? Usual(request) : scripted.front();
    if (!scripted.empty()) scripted.pop_front();
    pending.insert(pending.end(), reports.begin(), reports.end());
    return static_cast<int>(request.size());
  }

  // Whether the next piece is there within the time, which then has passed.
  bool PieceComes(std::uint32_t timeoutMs) {
    const std::lock_guard guard(mutex);
    const std::uint32_t leftMs = pieceMs - waitedMs;
    const bool comes = !pending.empty() && leftMs < timeoutMs;
    if (clock != nullptr) clock->ticks += comes ? leftMs : timeoutMs;
    waitedMs = comes || pending.empty() ? 0 : waitedMs + timeoutMs;
    return comes;
  }

  int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) {
    if (onRead && timeoutMs > 0) onRead(Written().back()[1]);  // not for a look at what lies there
    const std::lock_guard guard(mutex);
    timeouts.push_back(timeoutMs);
    if (pending.empty()) return 0;
    const Report report = pending.front();
    pending.pop_front();
    if (report == kLost) return -1;
    std::copy_n(report.begin(), std::min(capacity, report.size()), data);
    return static_cast<int>(report.size());
  }

  static std::vector<Report> Usual(const Report& request) {
    switch (request[1]) {
      case 0x06: {
        Report dn = Bytes("0600");
        for (std::uint8_t next = 1; dn.size() < 64; ++next) dn.push_back(next);
        return {dn};
      }
      case 0x0B:  // the file's bytes are zeros
        return std::vector<Report>((request[3] * 256U + request[4] + 59) / 60, Report(64, 0));
      case 0x0C:
        return {Reply("0C00 E001020304050607")};
      case 0x0D:
        return {Reply("0D00 04 04 DEADBEEF")};
      case 0x30:
        return {Reply("3000 A1A2A3A4A5A6")};
      case 0x64:
        return {Reply("6400 0284")};
      default:
        return {Reply(HexText(&request[1], 1) + "00")};
    }
  }

  platform::CSMutex mutex;
  std::map<std::uint8_t, std::deque<std::vector<Report>>> scripts;
  std::deque<Report> pending;
  std::vector<Report> written;
  std::vector<std::uint32_t> timeouts;
  std::uint32_t waitedMs = 0;  // for the next piece
};

}  // namespace idcardreader
