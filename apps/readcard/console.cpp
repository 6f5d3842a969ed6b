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

void ShowUtf8() { SetConsoleOutputCP(CP_UTF8); }

#else

constexpr int kStandardOutput = STDOUT_FILENO;
constexpr int kErrorOutput = STDERR_FILENO;

int Duplicate(int descriptor) { return fcntl(descriptor, F_DUPFD_CLOEXEC, 0); }

void Redirect(int descriptor, int target) { dup2(target, descriptor); }

void Close(int descriptor) { close(descriptor); }

int OpenNullDevice() { return open("/dev/null", O_WRONLY | O_CLOEXEC); }

std::FILE* OpenDescriptor(int descriptor) { return fdopen(descriptor, "wb"); }

void ShowUtf8() {}

#endif

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
  ShowUtf8();
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
  if (!output) return;
  std::fwrite(text.data(), 1, text.size(), output.get());
  std::fflush(output.get());
}

void Console::Complain(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace readcard
