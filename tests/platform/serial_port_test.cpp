#include "platform/serial_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>

#include <cstring>
#include <utility>
#else
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>
#endif

namespace idcardreader::platform {
namespace {

using testing::StartsWith;

#ifdef _WIN32
constexpr const char* kMissingPort = "\\\\.\\COM250";
#else
constexpr const char* kMissingPort = "/dev/no-such-port";
#endif

TEST(SerialPortName, NamesThePortOfANumber) {
  struct {
    int number;
    const char* configuredName;
    const char* windows;
    const char* elsewhere;
  } const cases[] = {
      {1, "", "\\\\.\\COM1", "/dev/ttyS0"},
      {12, "", "\\\\.\\COM12", "/dev/ttyS11"},
      {999, "COM3", "\\\\.\\COM999", "/dev/ttyS998"},
      {2, "/dev/ttyUSB0", "\\\\.\\COM2", "/dev/ttyUSB0"},
  };
  for (const auto& [number, configuredName, windows, elsewhere] : cases) {
#ifdef _WIN32
    const bool onWindows = true;
#else
    const bool onWindows = false;
#endif
    EXPECT_EQ(SerialPortName(number, configuredName), onWindows ? windows : elsewhere);
  }
}

TEST(ComAccess, TellsWhyAPortFails) {
  ComAccess port;
  std::uint8_t byte = 0;
  EXPECT_EQ(port.LastErrorText(), "");
  EXPECT_FALSE(port.Open(kMissingPort, 115200));
  EXPECT_THAT(port.LastErrorText(),
              StartsWith("\nOpen(): CreateFile() failed, invalid handle value: (2) "));
  EXPECT_EQ(port.LastErrorText().back(), '\n');
  EXPECT_EQ(port.ReadData(&byte, 0, 1000), 0);
  EXPECT_EQ(port.WriteData(&byte, 0), 0);
  EXPECT_EQ(port.ReadData(&byte, 1, 1000), -1);
  EXPECT_THAT(port.LastErrorText(), StartsWith("\nReadData(): SetCommMask() failed: ("));
  EXPECT_EQ(port.WriteData(&byte, 1), -1);
  EXPECT_THAT(port.LastErrorText(), StartsWith("\nWriteData(): WriteFile() failed: ("));
}

#ifdef _WIN32

// A driver of the test's own behind the system's functions, for the port with this name.
constexpr char kScriptedPort[] = "\\\\.\\scripted port";

struct ScriptedDriver {
  HANDLE port = INVALID_HANDLE_VALUE;  // any handle once it is open
  int keptEvents = 0;                  // of bytes that were taken before
  std::string arriving;                // by the next wait behind these
  bool endsNoWait = false;
  std::string queue;
  OVERLAPPED* waiting = nullptr;
  DWORD* waitingFor = nullptr;
  int calls = 0;  // that begin or end something

  void EndWait() {
    *waitingFor = EV_RXCHAR;
    waiting->Internal = 0;
    EXPECT_TRUE(SetEvent(waiting->hEvent)) << "the record must be as it was";
    waiting = nullptr;
  }
};
ScriptedDriver driver;

template <typename Function>
Function* OfTheSystem(const char* name) {
  return reinterpret_cast<Function*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32"), name)));
}
#define SYSTEM(name) OfTheSystem<decltype(name)>(#name)

HANDLE WINAPI Create(const char* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                     DWORD creation, DWORD flags, HANDLE pattern) {
  if (std::strcmp(name, kScriptedPort) != 0) {
    return SYSTEM(CreateFileA)(name, access, share, security, creation, flags, pattern);
  }
  return driver.port = CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

BOOL WINAPI GetState(HANDLE port, DCB* line) {
  return port == driver.port ? TRUE : SYSTEM(GetCommState)(port, line);
}

BOOL WINAPI SetState(HANDLE port, DCB* line) {
  return port == driver.port ? TRUE : SYSTEM(SetCommState)(port, line);
}

BOOL WINAPI SetMask(HANDLE port, DWORD mask) {
  if (port != driver.port) return SYSTEM(SetCommMask)(port, mask);
  ++driver.calls;
  if (mask == 0 && driver.waiting != nullptr && !driver.endsNoWait) driver.EndWait();
  return TRUE;
}

BOOL WINAPI WaitForEvent(HANDLE port, DWORD* mask, OVERLAPPED* record) {
  if (port != driver.port) return SYSTEM(WaitCommEvent)(port, mask, record);
  ++driver.calls;
  driver.waiting = record;
  driver.waitingFor = mask;
  const bool kept = driver.keptEvents-- > 0;
  if (!kept) driver.queue = std::exchange(driver.arriving, {});
  if (kept || !driver.queue.empty()) {
    driver.EndWait();
    return TRUE;
  }
  record->Internal = STATUS_PENDING;
  SetLastError(ERROR_IO_PENDING);
  return FALSE;
}

BOOL WINAPI ClearError(HANDLE port, DWORD* errors, COMSTAT* status) {
  if (port != driver.port) return SYSTEM(ClearCommError)(port, errors, status);
  status->cbInQue = static_cast<DWORD>(driver.queue.size());
  return TRUE;
}

BOOL WINAPI ReadPort(HANDLE port, void* buffer, DWORD room, DWORD* count, OVERLAPPED* record) {
  if (port != driver.port) return SYSTEM(ReadFile)(port, buffer, room, count, record);
  ++driver.calls;
  record->Internal = 0;
  record->InternalHigh = driver.queue.copy(static_cast<char*>(buffer), room);
  driver.queue.erase(0, record->InternalHigh);
  return TRUE;
}

}  // namespace
}  // namespace idcardreader::platform

// Where the calls of an imported function find it.
extern "C" {
#define IN_PLACE_OF(name, own)         \
  extern decltype(&name) __imp_##name; \
  decltype(&name) __imp_##name = &idcardreader::platform::own;
IN_PLACE_OF(CreateFileA, Create)
IN_PLACE_OF(GetCommState, GetState)
IN_PLACE_OF(SetCommState, SetState)
IN_PLACE_OF(SetCommMask, SetMask)
IN_PLACE_OF(WaitCommEvent, WaitForEvent)
IN_PLACE_OF(ClearCommError, ClearError)
IN_PLACE_OF(ReadFile, ReadPort)
#undef IN_PLACE_OF
}

namespace idcardreader::platform {
namespace {

class ScriptedPortTest : public testing::Test {
 protected:
  void SetUp() override {
    driver = {};
    ASSERT_TRUE(port.Open(kScriptedPort, 57600)) << port.LastErrorText();
  }

  std::string Read(std::uint32_t timeoutMs) {
    std::uint8_t buffer[64];
    const std::int32_t count = port.ReadData(buffer, sizeof buffer, timeoutMs);
    return count < 0 ? "failed" : std::string(buffer, buffer + count);
  }

  ComAccess port;
};

TEST_F(ScriptedPortTest, TheEventOfBytesThatWereTakenEndsNoRead) {
  driver.keptEvents = 2;
  driver.arriving = "answer";
  EXPECT_EQ(Read(60'000), "answer");
  driver.keptEvents = 1;
  EXPECT_EQ(Read(50), "failed");
  EXPECT_EQ(port.LastErrorText(), "\nError ReadData(): No EV_RXCHAR occured");
}

TEST_F(ScriptedPortTest, AWaitThatCannotBeEndedKeepsItsRecordAndTheLineFails) {
  driver.endsNoWait = true;
  EXPECT_EQ(Read(10), "failed");
  ASSERT_NE(driver.waiting, nullptr);
  const OVERLAPPED record = *driver.waiting;
  const int calls = driver.calls;
  const std::uint8_t byte = 0;
  EXPECT_EQ(Read(10), "failed");
  EXPECT_EQ(std::memcmp(driver.waiting, &record, sizeof record), 0);
  EXPECT_EQ(port.WriteData(&byte, 1), -1);
  EXPECT_EQ(std::memcmp(driver.waiting, &record, sizeof record), 0);
  EXPECT_EQ(driver.calls, calls);
  ASSERT_TRUE(port.Open(kScriptedPort, 57600));
  driver.EndWait();
  driver.arriving = "answer";
  EXPECT_EQ(Read(60'000), "answer");
}

#else

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The device at the other end of the line is this test, over a pseudo-terminal.
class SerialTerminalTest : public testing::Test {
 public:
  SerialTerminalTest() {
    int slave = -1;
    std::array<char, 128> text{};
    EXPECT_EQ(openpty(&device, &slave, text.data(), nullptr, nullptr), 0);
    name = text.data();
    // Kept open: a line without any user would count as hung up for the device.
    keeper = slave;
  }
  ~SerialTerminalTest() override {
    close(keeper);
    if (device >= 0) close(device);
  }

 protected:
  void DeviceSends(const std::string& bytes) const {
    ASSERT_EQ(write(device, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  std::string DeviceReceives(std::size_t count) const {
    std::string bytes;
    std::array<char, 256> buffer{};
    while (bytes.size() < count) {
      const ssize_t taken = read(device, buffer.data(), buffer.size());
      if (taken <= 0) break;
      bytes.append(buffer.data(), static_cast<std::size_t>(taken));
    }
    return bytes;
  }

  void DeviceIsUnplugged() {
    close(device);
    device = -1;
  }

  std::string Read(std::uint32_t maximum, std::uint32_t timeoutMs) {
    std::vector<std::uint8_t> buffer(maximum);
    const std::int32_t count = port.ReadData(buffer.data(), maximum, timeoutMs);
    return count < 0 ? "failed" : std::string(buffer.begin(), buffer.begin() + count);
  }

  std::int32_t Write(const std::string& bytes) {
    return port.WriteData(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                          static_cast<std::uint32_t>(bytes.size()));
  }

  int device = -1;
  int keeper = -1;
  std::string name;
  ComAccess port;
};

TEST_F(SerialTerminalTest, SetsTheLineToEightBitsAndChangesNoByte) {
  for (const auto& [baud, code] : {std::pair(57600u, B57600), std::pair(115200u, B115200)}) {
    ASSERT_TRUE(port.Open(name, baud)) << port.LastErrorText();
    termios line{};
    EXPECT_EQ(tcgetattr(keeper, &line), 0);
    EXPECT_EQ(cfgetispeed(&line), static_cast<speed_t>(code));
    EXPECT_EQ(cfgetospeed(&line), static_cast<speed_t>(code));
    EXPECT_EQ(line.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(line.c_cflag & (PARENB | CSTOPB), 0u);
  }
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(Write(all), 256);
  EXPECT_EQ(DeviceReceives(256), all);
  DeviceSends(all);
  std::string received;
  while (received.size() < all.size()) {
    const std::string piece = Read(1024, 1000);
    ASSERT_NE(piece, "failed");
    received += piece;
  }
  EXPECT_EQ(received, all);
}

TEST_F(SerialTerminalTest, RefusesWhatIsNoLineOrNoRate) {
  EXPECT_FALSE(port.Open(name, 12345));
  EXPECT_THAT(port.LastErrorText(), StartsWith("\nOpen(): SetCommState() failed: (22) "));
  EXPECT_EQ(Write("x"), -1) << "the port must be closed again";
  EXPECT_FALSE(port.Open("/dev/null", 115200));
  EXPECT_THAT(port.LastErrorText(), StartsWith("\nOpen(): GetCommState() failed: (25) "));
}

TEST_F(SerialTerminalTest, HasOneOwnerAtATimeAndNoHeirs) {
  EXPECT_TRUE(ComAccess().Open(name, 57600));  // and leaves it free
  const int next = dup(keeper);
  close(next);  // the number that the port will get
  ASSERT_TRUE(port.Open(name, 115200));
  EXPECT_NE(fcntl(next, F_GETFD) & FD_CLOEXEC, 0);
  {
    ComAccess second;
    EXPECT_FALSE(second.Open(name, 115200));
    EXPECT_THAT(second.LastErrorText(), StartsWith("\nOpen(): CreateFile() failed"));
  }
  EXPECT_EQ(Write("still ours"), 10);
  DeviceSends("stale");
  EXPECT_TRUE(port.Open(name, 115200)) << "its owner may open it anew";
  EXPECT_EQ(Read(64, 0), "failed") << "what came before is dropped";
}

TEST_F(SerialTerminalTest, ASilentLineEndsAReadAfterItsTimeOut) {
  for (const std::uint32_t baud : {57600u, 115200u}) {
    ASSERT_TRUE(port.Open(name, baud));
    const auto start = steady_clock::now();
    EXPECT_EQ(Read(64, 100), "failed");
    const auto taken = steady_clock::now() - start;
    EXPECT_GE(taken, milliseconds(99));
    EXPECT_LT(taken, milliseconds(1000));
    EXPECT_EQ(port.LastErrorText(), "\nError ReadData(): No EV_RXCHAR occured");
  }
}

TEST_F(SerialTerminalTest, AReadTakesWhatIsThereButNoMoreThanItsRoom) {
  for (const std::uint32_t baud : {57600u, 115200u}) {
    ASSERT_TRUE(port.Open(name, baud));
    const auto start = steady_clock::now();
    std::thread sender([&] { DeviceSends("abcdef"); });
    EXPECT_EQ(Read(4, 60'000), "abcd");
    // Even at the rate at which reads gather, they end when nothing follows at once.
    EXPECT_EQ(Read(1024, 60'000), "ef");
    EXPECT_LT(steady_clock::now() - start, milliseconds(5000));
    sender.join();
  }
  // What comes while a read gathers may be more than is left of its room.
  std::thread sender([&] {
    for (int i = 0; i < 100; ++i) {
      DeviceSends("a");
      DeviceSends("bcdefg");
    }
  });
  std::string received;
  std::string piece;
  while (received.size() < 700 && (piece = Read(4, 1000)).size() <= 4) received += piece;
  sender.join();
  EXPECT_EQ(received.size(), 700U) << piece;
}

TEST_F(SerialTerminalTest, AnUnpluggedLineEndsAWaitingReadAndFailsAtOnce) {
  ASSERT_TRUE(port.Open(name, 115200));
  DeviceSends("1");
  std::atomic<bool> first{false};
  std::string second;
  std::thread reader([&] {
    first = Read(64, 60'000) == "1";
    second = Read(64, 60'000);
  });
  while (!first) std::this_thread::yield();
  const auto start = steady_clock::now();
  DeviceIsUnplugged();
  reader.join();
  EXPECT_EQ(second, "failed");
  EXPECT_EQ(Read(64, 60'000), "failed");
  constexpr char kGone[] = "\nWriteData(): GetOverlappedResult() failed: (5) ";
  EXPECT_THAT(port.LastErrorText(), StartsWith(kGone));
  EXPECT_EQ(Write("x"), -1);
  EXPECT_THAT(port.LastErrorText(), StartsWith(kGone));
  EXPECT_LT(steady_clock::now() - start, milliseconds(5000));
}

TEST_F(SerialTerminalTest, AWriteToALineThatTakesNothingEnds) {
  struct {
    std::uint32_t baud;
    bool failsAsAWhole;
  } const cases[] = {{115200, true}, {57600, false}};
  for (const auto& [baud, failsAsAWhole] : cases) {
    ASSERT_TRUE(port.Open(name, baud));
    std::int32_t written = 1;
    auto start = steady_clock::now();
    while (written == 1) {
      start = steady_clock::now();
      written = Write("x");
    }
    EXPECT_LT(steady_clock::now() - start, milliseconds(4000));
    EXPECT_EQ(written, failsAsAWhole ? -1 : 0);
    if (failsAsAWhole) {
      EXPECT_THAT(port.LastErrorText(),
                  StartsWith("\nWriteData(): GetOverlappedResult() failed: (110) "));
    }
  }
}

#endif

}  // namespace
}  // namespace idcardreader::platform
