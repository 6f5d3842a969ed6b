#include "memory/searched_host.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "memory/host/protocol.h"
#include "virtual_reader/virtual_reader.h"

namespace memorytest {
namespace {

std::array<int, 2> SocketPair(int type) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error("no pair of sockets");
  }
  return ends;
}

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& command,
                               const std::vector<int>& descriptors) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  process = fork();
  if (process != 0) return;
  // By way of high numbers, as one may lie where another belongs.
  constexpr int kHigh = 200;
  int number = 0;
  for (const int descriptor : descriptors) dup2(descriptor, kHigh + number++);
  while (number-- > 0) {
    dup2(kHigh + number, kReader + number);
    close(kHigh + number);
  }
  dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  execv(arguments[0], arguments.data());
  _exit(127);
}

RunningProgram::~RunningProgram() {
  kill(process, SIGTERM);
  waitpid(process, nullptr, 0);
}

SearchedHost::SearchedHost(const std::filesystem::path& programFile,
                           const std::filesystem::path& library,
                           const std::filesystem::path& deskFile) {
  const auto [ourReader, theirReader] = SocketPair(SOCK_SEQPACKET);
  const auto [ourControl, theirControl] = SocketPair(SOCK_STREAM);
  program.reset(
      new RunningProgram({programFile.string(), library.string()}, {theirReader, theirControl}));
  close(theirReader);
  close(theirControl);
  control = ourControl;
  readerSocket = ourReader;
  reader = std::thread([this, deskFile] { ServeReader(deskFile); });
}

SearchedHost::~SearchedHost() {
  program.reset();  // which ends the reader's thread too
  reader.join();
  close(control);
  close(readerSocket);
}

std::intptr_t SearchedHost::Call(const std::string& function, int argument, bool inBackground) {
  memorytest::Call call{{}, argument, inBackground};
  function.copy(call.function, sizeof call.function - 1);
  std::intptr_t result = -1;
  if (write(control, &call, sizeof call) != sizeof call ||
      read(control, &result, sizeof result) != sizeof result) {
    throw std::runtime_error("the host has ended");
  }
  return result;
}

void SearchedHost::ServeReader(const std::filesystem::path& deskFile) const {
  devkit::VirtualReader desk(deskFile);
  int handle = 0;
  ReaderRequest request{};
  std::array<unsigned char, 65> report{};
  const iovec received[] = {{&request, sizeof request}, {report.data(), report.size()}};
  ssize_t length = 0;
  while ((length = readv(readerSocket, received, 2)) > 0) {
    int result = 0;
    std::size_t answered = 0;
    switch (request.operation) {
      case ReaderRequest::open:
        result = handle = desk.Open(0, 0);
        break;
      case ReaderRequest::write:
        result =
            desk.Write(handle, report.data(), static_cast<std::size_t>(length) - sizeof request);
        break;
      case ReaderRequest::read:
        result = desk.Read(handle, report.data(), report.size(), request.milliseconds);
        answered = result > 0 ? static_cast<std::size_t>(result) : 0;
        break;
      case ReaderRequest::close:
        desk.Close(handle);
        break;
    }
    const iovec sent[] = {{&result, sizeof result}, {report.data(), answered}};
    if (writev(readerSocket, sent, 2) < 0) return;
  }
}

}  // namespace memorytest
