#include "platform/files.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/socket.h"
#include "platform/standard_output.h"
#include "support/eventually.h"
#include "support/redirected_output.h"
#include "support/temporary_folder.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#endif

namespace idcardreader::platform {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  const TemporaryFolder own;
  const fs::path& folder = own.path;
};

TEST_F(FilesTest, MakesOneFolderForItsOwnerAndTakesPathsOfAnyLength) {
  CreateFolder(folder / "missing" / "logdata");
  EXPECT_FALSE(fs::exists(folder / "missing"));
  fs::path deep = folder;
  while (deep.native().size() < 400) {
    deep /= std::string(60, 'd');
    CreateFolder(deep);
  }
  const fs::path file = deep / "file.txt";
  EXPECT_TRUE(WriteToFile(OpenFile(file, "at"), "deep down")) << LastSystemError();
  File read = OpenFile(deep / "." / ".." / deep.filename() / "file.txt", "rt");
  ASSERT_NE(read, nullptr);
  char text[64] = {};
  EXPECT_EQ(std::string(text, std::fread(text, 1, sizeof text, read.get())), "deep down");
#ifdef _WIN32  // where the removal of the folder does not reach that deep
  read.reset();
  for (fs::path path = file; path != folder; path = path.parent_path()) {
    const std::wstring name = L"\\\\?\\" + path.native();
    EXPECT_TRUE(DeleteFileW(name.c_str()) || RemoveDirectoryW(name.c_str())) << GetLastError();
  }
#else
  EXPECT_EQ(fs::status(deep).permissions(), fs::perms::owner_all);
#endif
}

// What else bears a name might never yield a byte.
TEST_F(FilesTest, OpensRegularFilesOnly) {
#ifdef _WIN32
  const std::string names[] = {"NUL"};
#else
  const std::string names[] = {"/dev/null", (folder / "pipe").native()};
  ASSERT_EQ(mkfifo(names[1].c_str(), 0600), 0);
#endif
  for (const char* mode : {"rt", "rb", "at", "wb", "wb+"}) {
    for (const std::string& name : names) {
      EXPECT_EQ(OpenFile(name, mode), nullptr) << name << mode;
      EXPECT_NE(LastSystemError(), 0u);
      EXPECT_EQ(OpenAnsiFile(name.c_str(), mode), nullptr) << name << mode;
    }
  }
}

TEST_F(FilesTest, FilesAndSocketsAreNeitherInheritedNorStandardStreams) {
  const fs::path path = folder / "file.txt";
  SocketApi& sockets = SystemSockets();
  sockets.StartSockets();
#ifdef _WIN32
  const File file = OpenFile(path, "at");
  const File again = OpenAnsiFile(AnsiText(path).c_str(), "rb");
  const SocketHandle socket = sockets.CreateTcpSocket();
  for (const std::intptr_t handle :
       {_get_osfhandle(_fileno(file.get())), _get_osfhandle(_fileno(again.get())), socket}) {
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0U);
  }
#else  // the number of a standard stream that is closed is free
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const File file = OpenFile(path, "at");
  const SocketHandle socket = sockets.CreateTcpSocket();
  dup2(input, STDIN_FILENO);
  close(input);
  const File again = OpenAnsiFile(AnsiText(path).c_str(), "rb");
  for (const int descriptor : {fileno(file.get()), fileno(again.get()), static_cast<int>(socket)}) {
    EXPECT_GT(descriptor, STDERR_FILENO);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
  }
#endif
  sockets.Close(socket);
  sockets.StopSockets();
}

TEST(Files, TheFoldersOfTheProgramDoNotDependOnTheCurrentOne) {
  const fs::path current = fs::current_path();
  fs::current_path(current.root_path());
  // The program runs in its own folder, and this code is linked into it.
  EXPECT_TRUE(fs::equivalent(ExecutableFolder(), current)) << ExecutableFolder();
  EXPECT_EQ(LibraryFolder(), ExecutableFolder());
  fs::current_path(current);
}

// Whether it ends soon: far less than for ever, and enough for a machine that does other things too.
// Nothing may be printed by the test itself while the output is redirected.
bool WritesSoon(int output, std::string_view text, int times) {
  const RedirectedOutput redirected(output);
  const auto begin = std::chrono::steady_clock::now();
  for (int count = 0; count < times; ++count) WriteStandardOutput(text);
  return std::chrono::steady_clock::now() - begin < std::chrono::seconds(5);
}

TEST(StandardOutput, AFileGetsTheText) {
  const TemporaryFolder folder;
  const auto path = folder.path / "standard-output.txt";
  const int file = open(path.string().c_str(), O_WRONLY | O_CREAT, 0600);
  EXPECT_TRUE(WritesSoon(file, "one\ntwo\n", 2));
  const std::vector<std::string> expected{"one", "two", "one", "two"};
  EXPECT_TRUE(Eventually([&] { return LinesOf(path) == expected; }));
  close(file);
}

TEST(StandardOutput, APipeThatNobodyReadsDelaysNobody) {
  EXPECT_TRUE(WritesSoon(kNoDescriptor, "nobody\n", 3));
  Pipe pipe;
  EXPECT_TRUE(WritesSoon(pipe.write, std::string(200, 'x'), 3000));
  // It takes text again once somebody reads.
  std::atomic<bool> arrived{false};
  std::thread reader([&] { arrived = !pipe.ReadUntil("behind it\n").empty(); });
  Eventually([&] { return WritesSoon(pipe.write, "behind it\n", 1) && arrived; });
  EXPECT_TRUE(arrived);
  if (!arrived) std::exit(1);  // the reader would never end
  reader.join();
}

#ifndef _WIN32

// Its signal would end a process that does not handle it, and so the tests. One that waits for the
// host goes on waiting.
TEST_F(FilesTest, AWriteThatFailsRaisesNoSignalAndTakesNone) {
  const File file = OpenFile(folder / "file", "at");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limited{0, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limited);
  EXPECT_FALSE(WriteToFile(file, "too long"));
  sigset_t signal;
  sigemptyset(&signal);
  sigaddset(&signal, SIGXFSZ);
  pthread_sigmask(SIG_BLOCK, &signal, nullptr);
  pthread_kill(pthread_self(), SIGXFSZ);
  EXPECT_FALSE(WriteToFile(file, "too long"));
  constexpr timespec kAtOnce{};
  EXPECT_EQ(sigtimedwait(&signal, nullptr, &kAtOnce), SIGXFSZ);
  pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
  setrlimit(RLIMIT_FSIZE, &before);
}

TEST(PosixStandardOutput, ASocketOrTerminalThatNobodyReadsDelaysNobody) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(master) | unlockpt(master), 0);
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  for (const auto& [other, output] : {std::pair(pair[0], pair[1]), std::pair(master, terminal)}) {
    EXPECT_TRUE(WritesSoon(output, std::string(200, 'x'), 3000));
    close(other);
    EXPECT_TRUE(WritesSoon(output, "nobody\n", 3));
    EXPECT_EQ(fcntl(output, F_GETFL) & O_NONBLOCK, 0) << "the host's own, which others share";
    close(output);
  }
}

#endif

}  // namespace
}  // namespace idcardreader::platform
