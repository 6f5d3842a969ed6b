#include "platform/files.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/socket.h"
#include "support/temporary_folder.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace idcardreader::platform {
namespace {

namespace fs = std::filesystem;

class FilesTest : public testing::Test {
 protected:
  const TemporaryFolder own;
  const fs::path& folder = own.path;
};

TEST_F(FilesTest, TakesPathsOfAnyLength) {
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
#endif
}

// What might never yield a byte: a pipe whose other end nobody holds, a device.
TEST_F(FilesTest, OpensRegularFilesOnly) {
#ifdef _WIN32
  const std::string pipe =
      "\\\\.\\pipe\\idcardreader-files-test-" + std::to_string(GetCurrentProcessId());
  const HANDLE end = CreateNamedPipeA(pipe.c_str(), PIPE_ACCESS_DUPLEX, 0, 9, 64, 64, 0, nullptr);
  ASSERT_NE(end, INVALID_HANDLE_VALUE);
  const char* const device = "NUL";
#else
  const std::string pipe = (folder / "pipe").native();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const char* const device = "/dev/null";
#endif
  for (const char* mode : {"rt", "rb", "at", "wb", "wb+"}) {
    for (const char* name : {pipe.c_str(), device}) {
      EXPECT_EQ(OpenFile(name, mode), nullptr) << name << mode;
      EXPECT_NE(LastSystemError(), 0u);
      EXPECT_EQ(OpenAnsiFile(name, mode), nullptr) << name << mode;
    }
  }
#ifdef _WIN32
  CloseHandle(end);
#endif
}

// Of a file or a socket.
bool IsInherited(std::intptr_t handle) {
#ifdef _WIN32
  DWORD flags = HANDLE_FLAG_INHERIT;
  EXPECT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags));
  return (flags & HANDLE_FLAG_INHERIT) != 0;
#else
  return fcntl(static_cast<int>(handle), F_GETFD) != FD_CLOEXEC;
#endif
}

bool IsInherited(const File& file) {
#ifdef _WIN32
  return IsInherited(_get_osfhandle(_fileno(file.get())));
#else
  return IsInherited(fileno(file.get()));
#endif
}

TEST_F(FilesTest, ChildProcessesInheritNeitherFilesNorSockets) {
  const fs::path path = folder / "file.txt";
  EXPECT_FALSE(IsInherited(OpenFile(path, "at")));
  EXPECT_FALSE(IsInherited(OpenAnsiFile(AnsiText(path).c_str(), "rb")));
  SocketApi& sockets = SystemSockets();
  sockets.StartSockets();
  const SocketHandle socket = sockets.CreateTcpSocket();
  EXPECT_FALSE(IsInherited(socket));
  sockets.Close(socket);
  sockets.StopSockets();
}

TEST_F(FilesTest, CreatesOneFolderForItsOwnerAndNoneAboveIt) {
  const fs::path inner = folder / "logdata";
  CreateFolder(inner);
  EXPECT_TRUE(fs::is_directory(inner));
  CreateFolder(folder / "missing" / "logdata");
  EXPECT_FALSE(fs::exists(folder / "missing"));
#ifndef _WIN32
  EXPECT_EQ(fs::status(inner).permissions(), fs::perms::owner_all);
#endif
}

#ifndef _WIN32

// Where the standard streams have numbers of this kind, the number of one that is closed is free.
TEST_F(FilesTest, ASocketOrFileIsNoStandardStream) {
  const int saved = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const SocketHandle socket = SystemSockets().CreateTcpSocket();
  const File file = OpenFile(folder / "file", "at");
  dup2(saved, STDIN_FILENO);
  close(saved);
  EXPECT_GT(socket, STDERR_FILENO);
  EXPECT_FALSE(IsInherited(socket));
  EXPECT_GT(fileno(file.get()), STDERR_FILENO);
  SystemSockets().Close(socket);
}

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

#endif

TEST(Files, TheFoldersOfTheProgramDoNotDependOnTheCurrentOne) {
  // This code is linked into the program, so both are one here.
  const fs::path program = ExecutableFolder();
  EXPECT_TRUE(program.is_absolute());
  EXPECT_TRUE(fs::is_directory(program));
  const fs::path current = fs::current_path();
  fs::current_path(current.root_path());
  EXPECT_EQ(LibraryFolder(), program);
  EXPECT_EQ(ExecutableFolder(), program);
  fs::current_path(current);
}

}  // namespace
}  // namespace idcardreader::platform
