// serial-reader: the reader model on a pseudo-terminal.

#include <csignal>
#include <fstream>
#include <iostream>

#include "base/command_line.h"
#include "base/json_file.h"
#include "reader_model/desk.h"
#include "serial_reader/pseudo_terminal.h"
#include "serial_reader/serial_frames.h"

namespace devkit {
namespace {

using SteadyClock = std::chrono::steady_clock;

volatile std::sig_atomic_t ended = 0;
void End(int) { ended = 1; }

// How soon a changed desk is noticed, and a request to end.
constexpr std::chrono::milliseconds kDeskPause(20);

// So many bytes go out at once on a line that keeps its rate: about a millisecond's worth.
constexpr std::size_t kPacedBytes = 8;

class SerialReader {
 public:
  SerialReader(const std::filesystem::path& desk, bool pacedLine)
      : deskFile(desk), paced(pacedLine) {}

  const std::string& PortName() const { return terminal.Name(); }

  void ServeOnce() {
    SendWhatIsDue();
    const Bytes received = terminal.Receive(Pause());
    // Behind the wait: a request finds the desk as its sender left it.
    LookAtDesk();
    for (const std::uint8_t byte : received) {
      const auto request = frames.Feed(byte, SteadyClock::now());
      // A serial line has no way to tell its host of a failed transfer: the request is lost.
      if (request) reader.Request(*request, SteadyClock::now());
    }
  }

 private:
  void LookAtDesk() {
    const std::optional<DeskState> state = deskFile.Look();
    if (const std::string complaint = deskFile.TakeComplaint(); !complaint.empty()) {
      std::cerr << complaint << std::endl;
    }
    if (!state) return;
    Apply(*state, desk.presentation, reader, SteadyClock::now());
    desk = *state;
  }

  void SendWhatIsDue() {
    while (const auto output = reader.Take(SteadyClock::now())) {
      pending.insert(pending.end(), output->bytes.begin(), output->bytes.end());
    }
    if (!paced) {
      terminal.Send(std::exchange(pending, Bytes()));
    } else if (!pending.empty() && SteadyClock::now() >= lineFree) {
      const std::size_t count = std::min(kPacedBytes, pending.size());
      const auto end = pending.begin() + static_cast<std::ptrdiff_t>(count);
      terminal.Send(Bytes(pending.begin(), end));
      pending.erase(pending.begin(), end);
      lineFree = SteadyClock::now() + terminal.TimeFor(count);
    }
  }

  std::chrono::microseconds Pause() const {
    std::optional<Moment> next = reader.NextDue();
    if (!pending.empty()) next = lineFree;
    if (!next) return kDeskPause;
    return std::clamp<std::chrono::microseconds>(
        std::chrono::ceil<std::chrono::microseconds>(*next - SteadyClock::now()),
        std::chrono::microseconds(0), kDeskPause);
  }

  PseudoTerminal terminal;
  DeskFile deskFile;
  const bool paced;
  DeskState desk;
  ReaderModel reader;
  SerialFrames frames;
  Bytes pending;      // on its way over the line
  Moment lineFree{};  // when the line has carried what was sent
};

// A name that stays, for hosts that look for a port by a name of their own.
class Link {
 public:
  Link(const std::string& target, const std::string& linkName) : path(linkName) {
    if (path.empty()) return;
    std::filesystem::remove(path);
    std::filesystem::create_symlink(target, path);
  }
  ~Link() {
    std::error_code ignored;
    if (!path.empty()) std::filesystem::remove(path, ignored);
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

 private:
  std::filesystem::path path;
};

void WritePortFile(const std::string& file, const std::string& port) {
  std::ofstream(file + ".part") << port << '\n';
  std::filesystem::rename(file + ".part", file);
}

}  // namespace
}  // namespace devkit

int main(int argc, char** argv) {
  CLI::App app("Offers the devkit's reader on a pseudo-terminal.", "serial-reader");
  std::string desk;
  std::string portFile;
  std::string linkName;
  bool paced = false;
  app.add_option("--desk", desk, "the desk file: which card lies on the reader")->required();
  app.add_option("--port-file", portFile, "is written once the port is there: the port's name");
  app.add_option("--link", linkName, "a link to be made to the port");
  app.add_flag("--paced", paced, "send no faster than the rate that the host has set");
  if (const auto status = devkit::ParseCommandLine(app, argc, argv)) return *status;
  std::signal(SIGINT, devkit::End);
  std::signal(SIGTERM, devkit::End);

  try {
    devkit::SerialReader reader(desk, paced);
    const devkit::Link link(reader.PortName(), linkName);
    std::cout << reader.PortName() << std::endl;
    if (!portFile.empty()) devkit::WritePortFile(portFile, reader.PortName());
    while (devkit::ended == 0) reader.ServeOnce();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "serial-reader: " << error.what() << std::endl;
    return 1;
  }
}
