#include "platform/serial_port.h"

#include <windows.h>

#include <algorithm>
#include <climits>
#include <cstdio>

#include "platform/serial_port_common.h"
#include "platform/windows/handles.h"

namespace idcardreader::platform {

using namespace serial;

namespace {

constexpr DWORD kQueueSize = 1024;

// How long an operation that was cancelled may take to end.
constexpr DWORD kCollectMs = 1000;

COMMTIMEOUTS TimeoutsAt(std::uint32_t baud) {
  COMMTIMEOUTS timeouts{};
  if (baud == kGatheringBaud) {
    timeouts.ReadIntervalTimeout = kGatherMs;
    timeouts.ReadTotalTimeoutConstant = kGatherMs;
  } else {
    timeouts.ReadIntervalTimeout = MAXDWORD;  // a read takes what is there
    timeouts.WriteTotalTimeoutMultiplier = kWriteMsPerByte;
    timeouts.WriteTotalTimeoutConstant = kWriteMs;
  }
  return timeouts;
}

}  // namespace

// The system writes into the OVERLAPPED record, the event mask and the receive buffer whenever an
// operation ends, so they live here and not with a call that may have given up waiting.
struct ComAccess::State {
  HANDLE port = nullptr;
  std::uint32_t baud = 0;
  OVERLAPPED overlapped{};
  UniqueHandle operationEnded;
  DWORD eventMask = 0;
  std::uint8_t received[kQueueSize] = {};
  bool lost = false;  // an operation could not be ended: the system may still write in here
  char errorText[kErrorTextSize] = {};

  bool Fail(const char* context) {
    const DWORD error = GetLastError();
    char* words = nullptr;
    FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<char*>(&words),
        0, nullptr);
    std::snprintf(errorText, sizeof errorText, "%s: (%d) %s\n", context, static_cast<int>(error),
                  words == nullptr ? "" : words);
    if (words != nullptr) LocalFree(words);
    return false;
  }

  void Close() {
    if (port != nullptr) CloseHandle(port);
    port = nullptr;
  }

  bool SetLine() {
    DCB line{};
    line.DCBlength = sizeof line;
    if (GetCommState(port, &line) == 0) return Fail(kGetStateFailed);
    line.BaudRate = baud;
    line.ByteSize = 8;
    line.Parity = NOPARITY;
    line.StopBits = ONESTOPBIT;
    return SetCommState(port, &line) != 0 || Fail(kSetStateFailed);
  }

  // With a port that was given up nothing is begun: its record may be the system's.
  bool BeginOperation() {
    if (port == nullptr) return false;
    operationEnded = UniqueHandle(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    overlapped = {};
    overlapped.hEvent = operationEnded.Get();
    return static_cast<bool>(operationEnded);
  }

  // Waits for an operation that was cancelled. When not even that ends it, the port is given up
  // with everything that the system still has a pointer to.
  void Collect() {
    if (!HasOverlappedIoCompleted(&overlapped) &&
        WaitForSingleObject(operationEnded.Get(), kCollectMs) != WAIT_OBJECT_0 &&
        !HasOverlappedIoCompleted(&overlapped)) {
      lost = true;
      Close();
    }
  }

  // The result of a read or a write that was begun; it is cancelled when it does not end in time.
  bool Finish(DWORD limit, DWORD purge, DWORD& count) {
    if (!HasOverlappedIoCompleted(&overlapped) &&
        WaitForSingleObject(operationEnded.Get(), limit) != WAIT_OBJECT_0) {
      PurgeComm(port, purge);
      CancelIoEx(port, &overlapped);
      Collect();
      if (lost) return false;
    }
    return GetOverlappedResult(port, &overlapped, &count, FALSE) != 0;
  }

  bool HasBytes() const {
    COMSTAT status{};
    DWORD errors = 0;
    return ClearCommError(port, &errors, &status) != 0 && status.cbInQue > 0;
  }

  // Only the queue tells whether bytes are there: the system keeps the event of bytes that an earlier
  // read has taken, and then the wait goes on.
  bool WaitForBytes(DWORD timeoutMs) {
    const ULONGLONG start = GetTickCount64();
    while (!HasBytes()) {
      const ULONGLONG passed = GetTickCount64() - start;
      if (passed >= timeoutMs || !BeginOperation()) return false;
      eventMask = 0;
      if (WaitCommEvent(port, &eventMask, &overlapped) == 0) {
        if (GetLastError() != ERROR_IO_PENDING) return false;
        // Bytes that came between the look at the queue and the wait may have left no event.
        const DWORD limit = HasBytes() ? 0 : static_cast<DWORD>(timeoutMs - passed);
        if (WaitForSingleObject(operationEnded.Get(), limit) != WAIT_OBJECT_0) {
          // This ends the wait on every system; cancelling it does not under Wine.
          SetCommMask(port, 0);
          Collect();
          return !lost && HasBytes();
        }
      }
      // Any other end of the wait is one of the line.
      if ((eventMask & EV_RXCHAR) == 0) return HasBytes();
    }
    return true;
  }

  std::int32_t Read(std::uint8_t* buffer, DWORD maximum, DWORD timeoutMs) {
    if (port == nullptr || SetCommMask(port, EV_RXCHAR) == 0 || !WaitForBytes(timeoutMs) ||
        !BeginOperation()) {
      return -1;
    }
    const DWORD wanted = std::min(maximum, kQueueSize);
    DWORD count = 0;
    if ((ReadFile(port, received, wanted, nullptr, &overlapped) == 0 &&
         GetLastError() != ERROR_IO_PENDING) ||
        !Finish(kStuckWriteMs, PURGE_RXABORT, count)) {
      return -1;
    }
    std::copy_n(received, count, buffer);
    std::fill_n(received, count, std::uint8_t{0});  // they may be a card's
    return static_cast<std::int32_t>(count);
  }

  std::int32_t Write(const std::uint8_t* buffer, DWORD total) {
    if (!BeginOperation()) return -1;
    // Below the gathering rate the driver ends the write; our limit is for drivers that do not.
    const std::uint64_t driverLimit = kWriteMs + std::uint64_t{kWriteMsPerByte} * total;
    const std::uint64_t limit =
        baud == kGatheringBaud ? kStuckWriteMs : driverLimit + kStuckWriteMs;
    DWORD count = 0;
    const bool begun = WriteFile(port, buffer, total, nullptr, &overlapped) != 0 ||
                       GetLastError() == ERROR_IO_PENDING;
    const bool done =
        begun && Finish(static_cast<DWORD>(std::min<std::uint64_t>(limit, INFINITE - 1)),
                        PURGE_TXABORT | PURGE_TXCLEAR, count);
    return done ? static_cast<std::int32_t>(count) : -1;
  }

  void EndOperation() {
    if (!lost) operationEnded = UniqueHandle();
  }
};

ComAccess::ComAccess() : state(std::make_unique<State>()) {}

ComAccess::~ComAccess() {
  state->Close();
  if (state->lost) state.release();
}

bool ComAccess::Open(const std::string& portName, std::uint32_t baud) {
  state->Close();
  if (state->lost) {
    state.release();
    state = std::make_unique<State>();
  }
  State& opened = *state;
  opened.baud = baud;
  opened.port = CreateFileA(portName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                            OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
  if (opened.port == INVALID_HANDLE_VALUE) {
    opened.port = nullptr;
    return opened.Fail(kOpenFailed);
  }
  if (!opened.SetLine()) {
    opened.Close();
    return false;
  }
  SetupComm(opened.port, kQueueSize, kQueueSize);
  PurgeComm(opened.port, PURGE_TXABORT | PURGE_RXABORT | PURGE_TXCLEAR | PURGE_RXCLEAR);
  COMMTIMEOUTS timeouts = TimeoutsAt(baud);
  SetCommTimeouts(opened.port, &timeouts);
  return true;
}

std::int32_t ComAccess::ReadData(std::uint8_t* buffer, std::uint32_t maximum,
                                 std::uint32_t timeoutMs) {
  if (maximum == 0) return 0;
  const std::int32_t count = state->Read(buffer, maximum, timeoutMs);
  state->EndOperation();
  return count;
}

std::int32_t ComAccess::WriteData(const std::uint8_t* buffer, std::uint32_t count) {
  if (count == 0) return 0;
  const std::int32_t written = state->Write(buffer, std::min<std::uint32_t>(count, INT_MAX));
  state->EndOperation();
  return written;
}

std::string ComAccess::LastErrorText() const { return state->errorText; }

std::string SerialPortName(int comnum, const std::string& /*comname*/) {
  return "\\\\.\\COM" + std::to_string(comnum);
}

}  // namespace idcardreader::platform
