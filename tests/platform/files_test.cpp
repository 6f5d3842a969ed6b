#include "platform/files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

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

// The codes that the system calls of this platform give.
#ifdef _WIN32
constexpr unsigned long kNotFound = ERROR_FILE_NOT_FOUND;
constexpr unsigned long kExists = ERROR_ALREADY_EXISTS;
#else
constexpr unsigned long kNotFound = ENOENT;
constexpr unsigned long kExists = EEXIST;
#endif

// An empty folder of the test's own, below the working directory.
class FilesTest : public testing::Test {
 public:
  FilesTest() {
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    folder = fs::current_path() / (std::string("files-") + test.name());
    fs::remove_all(folder);
    fs::create_directory(folder);
  }
  ~FilesTest() override { fs::remove_all(folder); }

 protected:
  static void Write(const fs::path& path, const char* mode, const char* text) {
    const File file = OpenFile(path, mode);
    ASSERT_NE(file, nullptr) << LastSystemError();
    ASSERT_GE(std::fputs(text, file.get()), 0);
  }

  static std::string Read(const fs::path& path) {
    const File file = OpenFile(path, "rt");
    if (file == nullptr) return "(cannot be opened)";
    char text[64] = {};
    const std::size_t length = std::fread(text, 1, sizeof text - 1, file.get());
    return {text, length};
  }

  fs::path folder;
};

TEST_F(FilesTest, WritesAppendsAndReadsUnderNamesOfEveryScript) {
  const fs::path inner = folder / fs::path(u"身份证\u00E9");
  ASSERT_TRUE(CreateFolder(inner));
  const fs::path file = inner / fs::path(u"读卡.txt");
  Write(file, "at", "one\n");
  Write(file, "at", "two\n");
  EXPECT_EQ(Read(file), "one\ntwo\n");
  Write(file, "wb", "new");
  EXPECT_EQ(Read(file), "new");
}

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
    ASSERT_TRUE(CreateFolder(deep)) << LastSystemError();
    ASSERT_TRUE(CreateFolder(deep)) << "an existing one is no error";
  }
  const fs::path file = deep / "file.txt";
  Write(file, "wt", "deep down");
  EXPECT_EQ(Read(file), "deep down");
  EXPECT_EQ(Read(deep / "." / ".." / deep.filename() / "file.txt"), "deep down");
  for (fs::path path = file; path != folder; path = path.parent_path()) RemoveOne(path);
}

TEST_F(FilesTest, TellsWhyAFileCannotBeOpened) {
  EXPECT_EQ(OpenFile(folder / "missing.txt", "rt"), nullptr);
  EXPECT_EQ(LastSystemError(), kNotFound);
  const std::string missing = AnsiText(folder / "missing.txt");
  EXPECT_EQ(OpenAnsiFile(missing.c_str(), "rb"), nullptr);
  EXPECT_EQ(LastSystemError(), kNotFound);
  EXPECT_EQ(OpenFile(folder, "rt"), nullptr);
  EXPECT_NE(LastSystemError(), 0u);
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

TEST_F(FilesTest, WritesAtOnce) {
  const fs::path path = folder / "file.txt";
  for (const char* mode : {"wb", "at", "wb+"}) {
    const File file = OpenFile(path, mode);
    EXPECT_TRUE(WriteToFile(file, "all of it"));
    EXPECT_EQ(Read(path).substr(Read(path).size() - 9), "all of it") << mode;
  }
  EXPECT_FALSE(WriteToFile(nullptr, "nothing"));
  EXPECT_FALSE(WriteToFile(OpenFile(path, "rb"), "refused"));
}

TEST_F(FilesTest, TakesTheNameThatAHostGave) {
  const std::string name = AnsiText(folder.filename()) + "/photo.bmp";
  EXPECT_FALSE(AnsiFileExists(name.c_str()));
  std::fputs("BM", OpenAnsiFile(name.c_str(), "wb").get());
  EXPECT_TRUE(AnsiFileExists(name.c_str()));
  EXPECT_EQ(Read(folder / "photo.bmp"), "BM");
  EXPECT_FALSE(AnsiFileExists(nullptr));
  EXPECT_EQ(OpenAnsiFile(nullptr, "rb"), nullptr);
  EXPECT_EQ(OpenAnsiFile("", "rb"), nullptr);
}

TEST_F(FilesTest, ChildProcessesInheritNoFile) {
  const fs::path path = folder / "file.txt";
  EXPECT_FALSE(IsInherited(OpenFile(path, "at").get()));
  EXPECT_FALSE(IsInherited(OpenAnsiFile(AnsiText(path).c_str(), "rb").get()));
}

TEST_F(FilesTest, CreatesOneFolderForItsOwnerAndNoneAboveIt) {
  const fs::path inner = folder / "logdata";
  EXPECT_TRUE(CreateFolder(inner));
  EXPECT_TRUE(fs::is_directory(inner));
  EXPECT_FALSE(CreateFolder(folder / "missing" / "logdata"));
#ifndef _WIN32
  EXPECT_EQ(fs::status(inner).permissions(), fs::perms::owner_all);
#endif
  Write(folder / "file", "wt", "not a folder");
  EXPECT_FALSE(CreateFolder(folder / "file"));
  EXPECT_EQ(LastSystemError(), kExists);
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
