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

// The beginnings of the error texts. They are those that service people know from Windows, so they
// name its calls on every platform. The last two are what they are: a read that breaks off is told
// with the words of a write, and one that waited in vain has its own spelling.
inline constexpr char kOpenFailed[] = "\nOpen(): CreateFile() failed, invalid handle value";
inline constexpr char kGetStateFailed[] = "\nOpen(): GetCommState() failed";
inline constexpr char kSetStateFailed[] = "\nOpen(): SetCommState() failed";
inline constexpr char kWriteNoEvent[] = "\nWriteData(): CreateEvent() failed";
inline constexpr char kWriteFailed[] = "\nWriteData(): WriteFile() failed";
inline constexpr char kWriteBrokeOff[] = "\nWriteData(): GetOverlappedResult() failed";
inline constexpr char kReadNoEvent[] = "\nReadData(): CreateEvent() failed";
inline constexpr char kReadNoMask[] = "\nReadData(): SetCommMask() failed";
inline constexpr char kReadWaitFailed[] = "\nReadData(): WaitForSingleObject() failed";
inline constexpr char kReadFailed[] = "\nReadData(): ReadFile() failed";
inline constexpr char kReadBrokeOff[] = "\nWriteData(): GetOverlappedResult() failed";
inline constexpr char kNothingCame[] = "\nError ReadData(): No EV_RXCHAR occured";

inline constexpr int kErrorTextSize = 256;

}  // namespace idcardreader::platform::serial
