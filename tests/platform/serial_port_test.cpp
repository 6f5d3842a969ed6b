#include "platform/serial_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#endif

namespace idcardreader::platform {
namespace {

using testing::StartsWith;

TEST(ComAccess, TakesTheNameOfAPortAndTellsWhyItDoesNotOpen) {
  ComAccess port;
  EXPECT_EQ(port.LastErrorText(), "");
#ifdef _WIN32
  EXPECT_EQ(SerialPortName(12, "/dev/ttyUSB0"), "\\\\.\\COM12");
  EXPECT_FALSE(port.Open(SerialPortName(250, ""), 115200));
#else
  EXPECT_EQ(SerialPortName(12, "COM3"), "/dev/ttyS11");
  EXPECT_EQ(SerialPortName(2, "/dev/ttyUSB0"), "/dev/ttyUSB0");
  EXPECT_FALSE(port.Open("/dev/no-such-port", 115200));
#endif
  EXPECT_THAT(port.LastErrorText(),
              StartsWith("\nOpen(): CreateFile() failed, invalid handle value: (2) "));
  EXPECT_EQ(port.LastErrorText().back(), '\n');
}

#ifdef _WIN32

// A driver of the test's own in place of the system's functions, which knows the port with this name.
constexpr char kScriptedPort[] = "\\\\.\\scripted port";
struct {
  int keptEvents = 0;    // of bytes that were taken before
  std::string arriving;  // by the next wait behind these
  std::string queue;
  OVERLAPPED* waiting = nullptr;
} driver;

}  // namespace

// Where the calls of an imported function find it.
extern "C" {
decltype(&CreateFileA) __imp_CreateFileA = [](const char* name, auto...) -> HANDLE {
  SetLastError(ERROR_FILE_NOT_FOUND);
  return name == std::string(kScriptedPort) ? CreateEventA(nullptr, TRUE, FALSE, nullptr)
                                            : INVALID_HANDLE_VALUE;
};
decltype(&GetCommState) __imp_GetCommState = [](HANDLE, DCB*) { return TRUE; };
decltype(&SetCommState) __imp_SetCommState = [](HANDLE, DCB*) { return TRUE; };
decltype(&SetCommMask) __imp_SetCommMask = [](HANDLE, DWORD mask) {
  if (mask == 0 && driver.waiting != nullptr) {
    driver.waiting->Internal = 0;
    EXPECT_TRUE(SetEvent(driver.waiting->hEvent)) << "the record must be as it was";
  }
  return TRUE;
};
decltype(&WaitCommEvent) __imp_WaitCommEvent = [](HANDLE, DWORD* mask, OVERLAPPED* record) {
  const bool kept = driver.keptEvents-- > 0;
  if (!kept) driver.queue = std::exchange(driver.arriving, {});
  if (kept || !driver.queue.empty()) {
    *mask = EV_RXCHAR;
    return TRUE;
  }
  driver.waiting = record;
  record->Internal = STATUS_PENDING;
  SetLastError(ERROR_IO_PENDING);
  return FALSE;
};
decltype(&ClearCommError) __imp_ClearCommError = [](HANDLE, DWORD*, COMSTAT* status) {
  status->cbInQue = static_cast<DWORD>(driver.queue.size());
  return TRUE;
};
decltype(&ReadFile) __imp_ReadFile = [](HANDLE, void* buffer, DWORD room, auto,
                                        OVERLAPPED* record) {
  record->Internal = 0;
  record->InternalHigh = driver.queue.copy(static_cast<char*>(buffer), room);
  driver.queue.erase(0, record->InternalHigh);
  return TRUE;
};
}

namespace {

TEST(ScriptedPort, TheEventOfBytesThatWereTakenEndsNoRead) {
  ComAccess port;
  ASSERT_TRUE(port.Open(kScriptedPort, 57600)) << port.LastErrorText();
  driver.keptEvents = 2;
  driver.arriving = "answer";
  std::uint8_t buffer[64];
  ASSERT_EQ(port.ReadData(buffer, sizeof buffer, 60'000), 6);
  EXPECT_EQ(std::string(buffer, buffer + 6), "answer");
  driver.keptEvents = 1;
  EXPECT_EQ(port.ReadData(buffer, sizeof buffer, 50), -1);
}

#else

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The device at the other end of the line is this test, over a pseudo-terminal.
class SerialTerminalTest : public testing::Test {
 protected:
  SerialTerminalTest() {
    char text[128];
    EXPECT_EQ(openpty(&device, &keeper, text, nullptr, nullptr), 0);
    name = text;
  }
  void TearDown() override {
    close(keeper);
    close(device);
  }

  void DeviceSends(const std::string& bytes) const {
    ASSERT_EQ(write(device, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  std::string Read(std::uint32_t maximum, std::uint32_t timeoutMs) {
    std::uint8_t buffer[1024];
    const std::int32_t count = port.ReadData(buffer, maximum, timeoutMs);
    return count < 0 ? "failed" : std::string(buffer, buffer + count);
  }
  std::int32_t Write() { return port.WriteData(reinterpret_cast<const std::uint8_t*>("x"), 1); }

  int device = -1;
  int keeper = -1;  // kept open: a line without any user would count as hung up for the device
  std::string name;
  ComAccess port;
};

TEST_F(SerialTerminalTest, SetsTheLineToEightBitsAndChangesNoByte) {
  constexpr tcflag_t kChanging = ISTRIP | ICRNL | IXON;
  termios line{};
  for (const auto& [baud, code] : {std::pair(57600u, B57600), std::pair(115200u, B115200)}) {
    // As somebody else may have left it.
    ASSERT_EQ(tcgetattr(keeper, &line), 0);
    line.c_cflag = (line.c_cflag & ~static_cast<tcflag_t>(CSIZE)) | CS7 | CSTOPB | PARENB;
    line.c_iflag |= kChanging;
    ASSERT_EQ(tcsetattr(keeper, TCSANOW, &line), 0);
    ASSERT_TRUE(port.Open(name, baud)) << port.LastErrorText();
    EXPECT_EQ(tcgetattr(keeper, &line), 0);
    EXPECT_EQ(cfgetispeed(&line), static_cast<speed_t>(code));
    EXPECT_EQ(cfgetospeed(&line), static_cast<speed_t>(code));
    EXPECT_EQ(line.c_cflag & (CSIZE | PARENB | CSTOPB), static_cast<tcflag_t>(CS8));
    EXPECT_EQ(line.c_iflag & kChanging, 0u);
    EXPECT_EQ((line.c_lflag & (ICANON | ECHO | ISIG | IEXTEN)) | (line.c_oflag & OPOST), 0u);
  }
}

TEST_F(SerialTerminalTest, TakesALineAtAKnownRateForOneOwnerWithoutHeirs) {
  EXPECT_FALSE(port.Open(name, 12345));
  EXPECT_THAT(port.LastErrorText(), StartsWith("\nOpen(): SetCommState() failed: (22) "));
  EXPECT_EQ(Write(), -1) << "the port must be closed again";
  EXPECT_FALSE(port.Open("/dev/null", 115200));
  EXPECT_THAT(port.LastErrorText(), StartsWith("\nOpen(): GetCommState() failed: (25) "));
  EXPECT_TRUE(ComAccess().Open(name, 57600));  // and leaves it free
  const int next = dup(keeper);
  close(next);  // the number that the port will get
  ASSERT_TRUE(port.Open(name, 115200));
  EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
  ComAccess second;
  EXPECT_FALSE(second.Open(name, 115200));
  EXPECT_THAT(second.LastErrorText(), StartsWith("\nOpen(): CreateFile() failed"));
  EXPECT_EQ(Write(), 1) << "still ours";
  DeviceSends("stale");
  EXPECT_TRUE(port.Open(name, 115200)) << "its owner may open it anew";
  EXPECT_EQ(Read(64, 0), "failed") << "what came before is dropped";
}

TEST_F(SerialTerminalTest, AReadTakesWhatIsThereButNoMoreThanItsRoom) {
  for (const std::uint32_t baud : {57600u, 115200u}) {
    ASSERT_TRUE(port.Open(name, baud));
    const auto start = steady_clock::now();
    EXPECT_EQ(Read(64, 100), "failed") << "a silent line";
    EXPECT_GE(steady_clock::now() - start, milliseconds(99));
    DeviceSends("abcdef");
    EXPECT_EQ(Read(4, 60'000), "abcd");
    // Even at the rate at which reads gather, they end when nothing follows at once.
    EXPECT_EQ(Read(1024, 60'000), "ef");
    EXPECT_LT(steady_clock::now() - start, milliseconds(30'000));
  }
  // What comes while a read gathers may be more than is left of its room.
  std::thread sender([&] {
    for (int i = 0; i < 100; ++i) {
      DeviceSends("a");
      std::this_thread::sleep_for(std::chrono::microseconds(100));  // it is taken alone, at times
      DeviceSends("bcdefg");
    }
  });
  std::string received;
  std::string piece;
  while (received.size() < 700 && (piece = Read(4, 1000)).size() <= 4) received += piece;
  sender.join();
  EXPECT_EQ(received.size(), 700U) << piece;
}

TEST_F(SerialTerminalTest, AStuckLineEndsAWriteAndAnUnpluggedOneAWaitingRead) {
  const auto start = steady_clock::now();
  for (const auto& [baud, result] : {std::pair(57600u, 0), std::pair(115200u, -1)}) {
    ASSERT_TRUE(port.Open(name, baud));
    std::int32_t written = 1;
    while (written == 1) written = Write();
    EXPECT_EQ(written, result);
  }
  std::thread reader([&] { EXPECT_EQ(Read(64, 60'000), "failed"); });
  std::this_thread::sleep_for(milliseconds(20));  // a read that has not begun fails as well
  close(std::exchange(device, -1));
  reader.join();
  EXPECT_EQ(Read(64, 60'000), "failed");
  EXPECT_EQ(Write(), -1);
  EXPECT_LT(steady_clock::now() - start, milliseconds(30'000));
}

#endif

}  // namespace
}  // namespace idcardreader::platform
