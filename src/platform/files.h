#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace idcardreader::platform {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// The folder that holds the library itself (the module this code is linked into), and the folder of
// the process's executable. Empty when the system does not tell.
std::filesystem::path LibraryFolder();
std::filesystem::path ExecutableFolder();

// Opens a regular file in the way that fopen calls "rt", "rb", "at", "wb" or "wb+" (those with a "t"
// are text modes where the platform has them); what else bears the name, and might never yield a
// byte, cannot be opened. Null then; LastSystemError() tells why. Not inherited by child processes. A
// file that is made is its owner's alone where the platform has that notion.
File OpenFile(const std::filesystem::path& path, const char* mode);

// The same for a name that a host application handed over: zero-terminated, in the system's ANSI
// code page, relative to the current directory; made with the rights that files of the host have.
File OpenAnsiFile(const char* name, const char* mode);

// Writes at once: nothing is left to be written when the file is closed, and no signal of a failure
// reaches the host. False without a file and when it does not take all of it.
bool WriteToFile(const File& file, std::string_view bytes);

// True when the file exists and its status can be asked.
bool AnsiFileExists(const char* name);

// Removes a file; one that is not there, or no file, stays as it is.
void RemoveAnsiFile(const char* name);

// Creates one folder, readable by its owner only where the platform has that notion, unless it is
// there already.
void CreateFolder(const std::filesystem::path& folder);

// GetLastError, errno: of the last failed call of this header on this thread.
unsigned long LastSystemError();

// True when the last failed OpenFile or OpenAnsiFile of this thread failed because the process or the
// system has no descriptor left: what may be otherwise a moment later.
bool OutOfDescriptors();

// Bytes of a path for messages, in the encoding that the platform's ANSI calls use.
std::string AnsiText(const std::filesystem::path& path);

}  // namespace idcardreader::platform
