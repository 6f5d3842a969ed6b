#include "serial_reader/pseudo_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <system_error>

namespace devkit {
namespace {

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int BaudOf(speed_t speed) {
  static const std::map<speed_t, int> rates = {
      {B1200, 1200},   {B2400, 2400},   {B4800, 4800},     {B9600, 9600},    {B19200, 19200},
      {B38400, 38400}, {B57600, 57600}, {B115200, 115200}, {B230400, 230400}};
  const auto found = rates.find(speed);
  return found != rates.end() ? found->second : 115200;
}

}  // namespace

PseudoTerminal::PseudoTerminal() {
  line = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (line < 0 || grantpt(line) != 0 || unlockpt(line) != 0) Fail("no pseudo-terminal");
  std::array<char, 128> text{};
  if (ptsname_r(line, text.data(), text.size()) != 0) Fail("no name for the pseudo-terminal");
  name = text.data();
  hostEnd = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (hostEnd < 0) Fail("the pseudo-terminal cannot be opened");
  // Nothing may be echoed or changed before the host has set the line up.
  termios settings{};
  if (tcgetattr(hostEnd, &settings) != 0) Fail("the pseudo-terminal has no settings");
  cfmakeraw(&settings);
  if (tcsetattr(hostEnd, TCSANOW, &settings) != 0) Fail("the pseudo-terminal cannot be set up");
  if (fcntl(line, F_SETFL, O_NONBLOCK) != 0) Fail("the pseudo-terminal cannot be set up");
}

PseudoTerminal::~PseudoTerminal() {
  if (hostEnd >= 0) close(hostEnd);
  if (line >= 0) close(line);
}

Bytes PseudoTerminal::Receive(std::chrono::microseconds limit) {
  pollfd waiting{line, POLLIN, 0};
  const timespec time{limit.count() / 1000000, limit.count() % 1000000 * 1000};
  if (ppoll(&waiting, 1, &time, nullptr) <= 0) return {};
  Bytes bytes(1024);
  const ssize_t count = read(line, bytes.data(), bytes.size());
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

void PseudoTerminal::Send(ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(line, bytes.data(), bytes.size());
    if (count <= 0) return;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

std::chrono::microseconds PseudoTerminal::TimeFor(std::size_t bytes) const {
  termios settings{};
  if (tcgetattr(hostEnd, &settings) != 0) return std::chrono::microseconds(0);
  constexpr long kBitsAByte = 10;  // with start and stop bit
  return std::chrono::microseconds(static_cast<long>(bytes) * kBitsAByte * 1000000 /
                                   BaudOf(cfgetospeed(&settings)));
}

}  // namespace devkit
