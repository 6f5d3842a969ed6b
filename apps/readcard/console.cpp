#include "console.h"

#ifdef _WIN32
// clang-format off
#include <windows.h>
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include "platform/code_page.h"
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace readcard {
namespace {

#ifdef _WIN32

constexpr int kStandardOutput = 1;
constexpr int kErrorOutput = 2;

int Duplicate(int descriptor) { return _dup(descriptor); }

void Redirect(int descriptor, int target) { _dup2(target, descriptor); }

void Close(int descriptor) { _close(descriptor); }

int OpenNullDevice() { return _open("NUL", _O_WRONLY); }

// Binary, so that both platforms write the same bytes.
std::FILE* OpenDescriptor(int descriptor) {
  _setmode(descriptor, _O_BINARY);
  return _fdopen(descriptor, "wb");
}

// A console takes UTF-16 whatever its code page, which belongs to the user and stays as it is.
bool WriteToConsole(std::FILE* file, std::string_view text) {
  const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  DWORD mode = 0;
  if (GetConsoleMode(console, &mode) == 0) return false;
  const std::u16string wide = idcardreader::platform::Utf8ToUtf16(text);
  DWORD written = 0;
  WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  return true;
}

#else

constexpr int kStandardOutput = STDOUT_FILENO;
constexpr int kErrorOutput = STDERR_FILENO;

int Duplicate(int descriptor) { return fcntl(descriptor, F_DUPFD_CLOEXEC, 0); }

void Redirect(int descriptor, int target) { dup2(target, descriptor); }

void Close(int descriptor) { close(descriptor); }

int OpenNullDevice() { return open("/dev/null", O_WRONLY | O_CLOEXEC); }

std::FILE* OpenDescriptor(int descriptor) { return fdopen(descriptor, "wb"); }

bool WriteToConsole(std::FILE*, std::string_view) { return false; }

#endif

void Write(std::FILE* file, std::string_view text) {
  if (WriteToConsole(file, text)) return;
  std::fwrite(text.data(), 1, text.size(), file);
  std::fflush(file);
}

}  // namespace

#ifdef _WIN32

std::vector<std::string> Utf8Arguments(int, char**) {
  std::vector<std::string> texts;
  int count = 0;
  wchar_t** wideArguments = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wideArguments == nullptr) return texts;
  for (int index = 1; index < count; ++index) {
    const std::wstring_view wide = wideArguments[index];
    texts.push_back(idcardreader::platform::Utf16ToUtf8(std::u16string(wide.begin(), wide.end())));
  }
  LocalFree(wideArguments);
  return texts;
}

#else

std::vector<std::string> Utf8Arguments(int argumentCount, char** arguments) {
  return {arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount};
}

#endif

// Standard output stays redirected to the end of the program: what the library has printed may sit
// in the C library's buffer until then.
Console::Console(bool showLibraryLines) {
  std::fflush(stdout);
  const int own = Duplicate(kStandardOutput);
  if (own >= 0) output.reset(OpenDescriptor(own));
  const int other = showLibraryLines ? Duplicate(kErrorOutput) : OpenNullDevice();
  if (other >= 0) {
    Redirect(kStandardOutput, other);
    Close(other);
  }
}

void Console::Print(std::string_view text) {
  if (output) Write(output.get(), text);
}

void Console::Complain(std::string_view text) { Write(stderr, text); }

}  // namespace readcard
