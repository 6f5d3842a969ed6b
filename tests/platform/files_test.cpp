#include "platform/files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/temporary_folder.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#endif

namespace idcardreader::platform {
namespace {

namespace fs = std::filesystem;

bool IsInherited(std::FILE* file) {
#ifdef _WIN32
  DWORD flags = 0;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  EXPECT_TRUE(GetHandleInformation(handle, &flags));
  return (flags & HANDLE_FLAG_INHERIT) != 0;
#else
  return (fcntl(fileno(file), F_GETFD) & FD_CLOEXEC) == 0;
#endif
}

class FilesTest : public testing::Test {
 protected:
  static std::string Read(const fs::path& path) {
    const File file = OpenFile(path, "rt");
    if (file == nullptr) return "(cannot be opened)";
    char text[64] = {};
    const std::size_t length = std::fread(text, 1, sizeof text - 1, file.get());
    return {text, length};
  }

  const TemporaryFolder own;
  const fs::path& folder = own.path;
};

// One file or empty folder at any depth; the library's own removal does not reach that deep on
// Windows.
void RemoveOne(const fs::path& path) {
#ifdef _WIN32
  const std::wstring name = L"\\\\?\\" + path.native();
  EXPECT_TRUE(DeleteFileW(name.c_str()) || RemoveDirectoryW(name.c_str())) << GetLastError();
#else
  fs::remove(path);
#endif
}

TEST_F(FilesTest, TakesPathsOfAnyLength) {
  fs::path deep = folder;
  while (deep.native().size() < 400) {
    deep /= std::string(60, 'd');
    CreateFolder(deep);
  }
  const fs::path file = deep / "file.txt";
  EXPECT_TRUE(WriteToFile(OpenFile(file, "at"), "deep down")) << LastSystemError();
  EXPECT_EQ(Read(file), "deep down");
  EXPECT_EQ(Read(deep / "." / ".." / deep.filename() / "file.txt"), "deep down");
  for (fs::path path = file; path != folder; path = path.parent_path()) RemoveOne(path);
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

TEST_F(FilesTest, ChildProcessesInheritNoFile) {
  const fs::path path = folder / "file.txt";
  EXPECT_FALSE(IsInherited(OpenFile(path, "at").get()));
  EXPECT_FALSE(IsInherited(OpenAnsiFile(AnsiText(path).c_str(), "rb").get()));
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
