#pragma once

#include <cstdint>

// What the serial ports of all platforms have in common.
namespace idcardreader::platform::serial {

// At this rate, and at no other, reads gather for a moment and writes have no limit of the
// driver's.
inline constexpr std::uint32_t kGatheringBaud = 115200;
inline constexpr std::uint32_t kGatherMs = 1;

// Otherwise a write takes no longer than this.
inline constexpr std::uint32_t kWriteMsPerByte = 100;
inline constexpr std::uint32_t kWriteMs = 1000;

// When a line takes no bytes at kGatheringBaud; 2000 bytes pass in a tenth of it.
inline constexpr std::uint32_t kStuckWriteMs = 2000;

// The beginnings of the error texts.
inline constexpr char kOpenFailed[] = "\nOpen(): CreateFile() failed, invalid handle value";
inline constexpr char kGetStateFailed[] = "\nOpen(): GetCommState() failed";
inline constexpr char kSetStateFailed[] = "\nOpen(): SetCommState() failed";

inline constexpr int kErrorTextSize = 256;

}  // namespace idcardreader::platform::serial
