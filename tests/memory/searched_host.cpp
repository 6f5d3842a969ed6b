#include "memory/searched_host.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "memory/host/descriptors.h"
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

pid_t StartProgram(const std::vector<std::string>& command, const std::vector<int>& descriptors) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  // By way of high numbers, as one may lie where another belongs.
  constexpr int kHigh = 200;
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    posix_spawn_file_actions_adddup2(&actions, descriptors[i], kHigh + static_cast<int>(i));
  }
  for (int i = 0; i < static_cast<int>(descriptors.size()); ++i) {
    posix_spawn_file_actions_adddup2(&actions, kHigh + i, kReader + i);
    posix_spawn_file_actions_addclose(&actions, kHigh + i);
  }
  pid_t process = -1;
  const int error =
      posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error(command[0] + " cannot be started");
  return process;
}

void EndProgram(pid_t process) {
  kill(process, SIGTERM);
  waitpid(process, nullptr, 0);
}

SearchedHost::SearchedHost(const std::filesystem::path& program,
                           const std::filesystem::path& library,
                           const std::filesystem::path& deskFile) {
  const auto [ourReaderEnd, theirReaderEnd] = SocketPair(SOCK_SEQPACKET);
  const auto [ourControl, theirControl] = SocketPair(SOCK_STREAM);
  process = StartProgram({program.string(), library.string()}, {theirReaderEnd, theirControl});
  close(theirReaderEnd);
  close(theirControl);
  control = ourControl;
  readerSocket = ourReaderEnd;
  reader = std::thread([this, deskFile] { ServeReader(deskFile); });
}

SearchedHost::~SearchedHost() {
  EndProgram(process);  // which ends the reader's thread too
  reader.join();
  close(control);
  close(readerSocket);
}

std::intptr_t SearchedHost::Do(char command) {
  std::intptr_t result = -1;
  if (write(control, &command, 1) != 1 || read(control, &result, sizeof result) != sizeof result) {
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
