#pragma once

#include <fcntl.h>

#include <string>
#include <string_view>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace idcardreader {

// The process's standard output is another one meanwhile, or none.
inline constexpr int kNoDescriptor = -1;
class RedirectedOutput {
 public:
  explicit RedirectedOutput(int descriptor) {
    close(kOutput);
    if (descriptor != kNoDescriptor) dup2(descriptor, kOutput);
  }
  ~RedirectedOutput() {
    dup2(before, kOutput);
    close(before);
  }

 private:
  static constexpr int kOutput = 1;
  const int before = dup(kOutput);
};

// A pipe to write to and its other end.
class Pipe {
 public:
  Pipe() {
#ifdef _WIN32
    const bool made = _pipe(ends, kSize, _O_BINARY | _O_NOINHERIT) == 0;
#else
    const bool made = pipe(ends) == 0 && fcntl(ends[1], F_SETPIPE_SZ, kSize) == kSize;
#endif
    write = made ? ends[1] : kNoDescriptor;
  }
  ~Pipe() {
    CloseReader();
    close(write);
  }

  void CloseReader() {
    if (ends[0] != kNoDescriptor) close(ends[0]);
    ends[0] = kNoDescriptor;
  }

  // False when it has taken less than all it can.
  bool Fill() const { return ::write(write, std::string(kSize, 'x').c_str(), kSize) == kSize; }

  // Reads until the text has come, or nobody can write any more; yields what has come.
  std::string ReadUntil(std::string_view text) {
    std::string all;
    char byte = 0;
    while (!all.ends_with(text) && read(ends[0], &byte, 1) == 1) {
      if (byte != '\r') all += byte;  // of Windows' line ends
    }
    return all;
  }

  int write = kNoDescriptor;

 private:
  static constexpr int kSize = 65536;
  int ends[2] = {kNoDescriptor, kNoDescriptor};
};

}  // namespace idcardreader
