#include "platform/serial_port.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <iterator>
#include <system_error>

#include "platform/posix/descriptors.h"
#include "platform/serial_port_common.h"

namespace idcardreader::platform {

using namespace serial;

namespace {

struct Rate {
  std::uint32_t baud;
  speed_t code;
};

constexpr Rate kRates[] = {
    {300, B300},       {600, B600},       {1200, B1200},     {2400, B2400},   {4800, B4800},
    {9600, B9600},     {19200, B19200},   {38400, B38400},   {57600, B57600}, {115200, B115200},
    {230400, B230400}, {460800, B460800}, {921600, B921600},
};

using Milliseconds = std::chrono::milliseconds;

}  // namespace

struct ComAccess::State {
  int descriptor = -1;
  std::uint32_t baud = 0;
  char errorText[kErrorTextSize] = {};

  bool Fail(const char* context) {
    const std::error_code error(errno, std::system_category());
    std::snprintf(errorText, sizeof errorText, "%s: (%d) %s\n", context, error.value(),
                  error.message().c_str());
    return false;
  }

  void Close() {
    if (descriptor < 0) return;
    // While another process keeps the line open, the system would remember that it is taken.
    ioctl(descriptor, TIOCNXCL);
    close(descriptor);
    descriptor = -1;
  }

  // Two ways to keep others out: the system ignores the first for the superuser, programs that
  // are not ours may ignore the second.
  bool TakeForUs() const {
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 && ioctl(descriptor, TIOCEXCL) == 0;
  }

  bool SetLine(const termios& before) const {
    const auto* rate = std::find_if(std::begin(kRates), std::end(kRates),
                                    [this](const Rate& known) { return known.baud == baud; });
    if (rate == std::end(kRates)) {
      errno = EINVAL;
      return false;
    }
    termios wanted = before;
    cfmakeraw(&wanted);
    wanted.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB | CSIZE);
    wanted.c_cflag |= CS8 | CLOCAL | CREAD;
    wanted.c_cc[VMIN] = 0;
    wanted.c_cc[VTIME] = 0;
    termios reached{};
    if (cfsetspeed(&wanted, rate->code) != 0 || tcsetattr(descriptor, TCSANOW, &wanted) != 0 ||
        tcgetattr(descriptor, &reached) != 0) {
      return false;
    }
    // The system calls it a success when it could make any of the changes.
    if (cfgetospeed(&reached) == rate->code) return true;
    errno = EINVAL;
    return false;
  }

  // What is there now: a count, 0 when there is nothing, -1 when the line is gone.
  ssize_t Take(std::uint8_t* buffer, std::size_t maximum) const {
    while (true) {
      const ssize_t count = read(descriptor, buffer, maximum);
      if (count > 0) return count;
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return errno == EAGAIN ? 0 : -1;
      // Nothing, and no reason to come back later: either poll was mistaken or the line hung up.
      pollfd entry{descriptor, POLLIN, 0};
      return poll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLERR)) != 0 ? -1 : 0;
    }
  }
};

ComAccess::ComAccess() : state(std::make_unique<State>()) {}

ComAccess::~ComAccess() { state->Close(); }

bool ComAccess::Open(const std::string& portName, std::uint32_t baud) {
  State& port = *state;
  port.Close();
  port.baud = baud;
  // Without O_NONBLOCK the call itself would wait for a carrier.
  port.descriptor = open(portName.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (port.descriptor < 0) return port.Fail(kOpenFailed);
  termios before{};
  bool done = tcgetattr(port.descriptor, &before) == 0 || port.Fail(kGetStateFailed);
  done = done && (port.TakeForUs() || port.Fail(kOpenFailed));
  done = done && (port.SetLine(before) || port.Fail(kSetStateFailed));
  if (!done) {
    port.Close();
    return false;
  }
  tcflush(port.descriptor, TCIOFLUSH);
  return true;
}

std::int32_t ComAccess::ReadData(std::uint8_t* buffer, std::uint32_t maximum,
                                 std::uint32_t timeoutMs) {
  if (maximum == 0) return 0;
  const std::size_t wanted = std::min<std::size_t>(maximum, INT_MAX);
  const Deadline deadline = DeadlineAfter(Milliseconds(timeoutMs));
  std::size_t count = 0;
  while (count == 0) {
    if (WaitForDescriptor(state->descriptor, POLLIN, deadline) <= 0) return -1;
    const ssize_t taken = state->Take(buffer, wanted);
    if (taken < 0) return -1;
    count = static_cast<std::size_t>(taken);
  }
  if (state->baud == kGatheringBaud) {
    const Deadline end = DeadlineAfter(Milliseconds(kGatherMs));
    while (count < wanted && WaitForDescriptor(state->descriptor, POLLIN, end) > 0) {
      const ssize_t taken = state->Take(buffer + count, wanted - count);
      if (taken <= 0) break;  // what has come is kept; the next call tells of a lost line
      count += static_cast<std::size_t>(taken);
    }
  }
  return static_cast<std::int32_t>(count);
}

std::int32_t ComAccess::WriteData(const std::uint8_t* buffer, std::uint32_t count) {
  if (count == 0) return 0;
  const bool gathering = state->baud == kGatheringBaud;
  const std::size_t total = std::min<std::size_t>(count, INT_MAX);
  const auto driverLimit = Milliseconds(kWriteMs) + Milliseconds(kWriteMsPerByte) * count;
  const Deadline deadline = DeadlineAfter(gathering ? Milliseconds(kStuckWriteMs) : driverLimit);
  std::size_t written = 0;
  while (written < total) {
    const ssize_t taken = write(state->descriptor, buffer + written, total - written);
    if (taken > 0) {
      written += static_cast<std::size_t>(taken);
      continue;
    }
    if (taken < 0 && errno == EINTR) continue;
    if (taken < 0 && errno != EAGAIN) return -1;
    const int ready = WaitForDescriptor(state->descriptor, POLLOUT, deadline);
    if (ready < 0) return -1;
    if (ready > 0) continue;
    if (!gathering) break;
    tcflush(state->descriptor, TCOFLUSH);
    return -1;
  }
  return static_cast<std::int32_t>(written);
}

std::string ComAccess::LastErrorText() const { return state->errorText; }

std::string SerialPortName(int comnum, const std::string& comname) {
  if (comname.starts_with('/')) return comname;
  return "/dev/ttyS" + std::to_string(comnum - 1);
}

}  // namespace idcardreader::platform
