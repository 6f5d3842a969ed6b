#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/serial_port.h"

namespace idcardreader {

// The one door to an open reader, whatever it is plugged into. The destructor closes it.
class ReaderDevice {
 public:
  virtual ~ReaderDevice() = default;
  // Bytes written, or -1.
  virtual int Write(const std::uint8_t* data, std::size_t count) = 0;
  // Bytes read, 0 when none came in time, or -1. A time-out of 0 only looks.
  virtual int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) = 0;
};

// Finds and opens readers.
class ReaderDoor {
 public:
  enum class Result { opened, not_found, not_opened };

  virtual ~ReaderDoor() = default;
  // Opens the first reader with these USB ids; the device that was open before is closed as soon as
  // one is found.
  virtual Result OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                         std::unique_ptr<ReaderDevice>& device) = 0;
  // Null when the port does not open.
  virtual std::unique_ptr<platform::CPort> OpenSerial(const std::string& portName,
                                                      std::uint32_t baud) = 0;
};

}  // namespace idcardreader
