#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "support/status_codes.h"

namespace idcardreader {

// How an operation of the reader ended. It raises nothing by itself: whoever asked for it decides
// what the failure means.
struct ReaderOutcome {
  enum class Kind { done, failed, abandoned };

  Kind kind = Kind::done;
  // ERRORT_None also for a failure that has no code of its own: two answers to other commands.
  std::int32_t code = ERRORT_None;

  static ReaderOutcome Failed(std::int32_t code) { return {Kind::failed, code}; }
  static ReaderOutcome Abandoned() { return {Kind::abandoned, ERRORT_None}; }

  bool Done() const { return kind == Kind::done; }
};

// An open reader, whatever it is plugged into. The destructor closes it.
class ReaderDevice {
 public:
  virtual ~ReaderDevice() = default;
  // Bytes written, or -1.
  virtual int Write(const std::uint8_t* data, std::size_t count) = 0;
  // Bytes read, 0 when none came in time, or -1; a serial port does not tell silence from failure. A
  // time-out of 0 only looks.
  virtual int Read(std::uint8_t* data, std::size_t capacity, std::uint32_t timeoutMs) = 0;
};

// Finds and opens readers. What the system gives as the cause of a failure goes to the error log.
class ReaderBackend {
 public:
  virtual ~ReaderBackend() = default;
  // Opens the first reader with these USB ids; the device that was open before is closed as soon as
  // one is found.
  virtual ReaderOutcome OpenHid(std::uint16_t vendorId, std::uint16_t productId,
                                std::unique_ptr<ReaderDevice>& device) = 0;
  virtual ReaderOutcome OpenSerial(const std::string& portName, std::uint32_t baud,
                                   std::unique_ptr<ReaderDevice>& device) = 0;
};

// The backend of the product: hidapi, and the system's serial ports. One thread at a time uses it.
ReaderBackend& SystemReaderBackend();

// When the library is unloaded.
void ReleaseSystemReaderBackend();

}  // namespace idcardreader
