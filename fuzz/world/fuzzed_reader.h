#pragma once

#include <cstdint>
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
  FuzzedReader(Script& script, VirtualClock& clock) : script(script), clock(clock) {}

  // What lies about unread belongs to nobody any more.
  void Forget() { reports.clear(); }

  idcardreader::ReaderOutcome OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                                      std::unique_ptr<idcardreader::ReaderDevice>& device) override;
  idcardreader::ReaderOutcome OpenSerial(
      const std::string& portName, std::uint32_t baud,
      std::unique_ptr<idcardreader::ReaderDevice>& device) override;

 private:
  class Device;
  class Port;

  bool Take(const std::string& command);
  // The bytes of the next report, 0 when none comes in the time, -1 when the transfer fails.
  int Give(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs);
  void Answer(const std::string& command);

  Script& script;
  VirtualClock& clock;
  std::deque<std::string> reports;  // an empty one is a transfer that fails
};

}  // namespace fuzz
