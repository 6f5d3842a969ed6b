#pragma once

#include <fcntl.h>

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace idcardreader {

inline constexpr int kNoDescriptor = -1;

#ifdef _WIN32
inline int OpenForWriting(const std::filesystem::path& path) {
  return _wopen(path.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY, 0600);
}
inline void CloseDescriptor(int descriptor) { _close(descriptor); }
inline int CopyOf(int descriptor) { return _dup(descriptor); }
inline void PutInPlaceOf(int descriptor, int replaced) { _dup2(descriptor, replaced); }
inline int ReadFrom(int descriptor, char* bytes, unsigned count) {
  return _read(descriptor, bytes, count);
}
inline int WriteTo(int descriptor, const char* bytes, unsigned count) {
  return _write(descriptor, bytes, count);
}
inline constexpr int kPipeSize = 4096;
inline bool MakePipe(int* ends) { return _pipe(ends, kPipeSize, _O_BINARY | _O_NOINHERIT) == 0; }
#else
inline int OpenForWriting(const std::filesystem::path& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
}
inline void CloseDescriptor(int descriptor) { close(descriptor); }
inline int CopyOf(int descriptor) { return dup(descriptor); }
inline void PutInPlaceOf(int descriptor, int replaced) { dup2(descriptor, replaced); }
inline int ReadFrom(int descriptor, char* bytes, unsigned count) {
  return static_cast<int>(read(descriptor, bytes, count));
}
inline int WriteTo(int descriptor, const char* bytes, unsigned count) {
  return static_cast<int>(write(descriptor, bytes, count));
}
inline constexpr int kPipeSize = 65536;
inline bool MakePipe(int* ends) {
  return pipe(ends) == 0 && fcntl(ends[1], F_SETPIPE_SZ, kPipeSize) == kPipeSize;
}
#endif

// The process's standard output is another one meanwhile, or none.
class RedirectedOutput {
 public:
  explicit RedirectedOutput(int descriptor) {
    if (descriptor == kNoDescriptor) {
      CloseDescriptor(kOutput);
    } else {
      PutInPlaceOf(descriptor, kOutput);
    }
  }
  ~RedirectedOutput() {
    PutInPlaceOf(before, kOutput);
    CloseDescriptor(before);
  }
  RedirectedOutput(const RedirectedOutput&) = delete;
  RedirectedOutput& operator=(const RedirectedOutput&) = delete;

 private:
  static constexpr int kOutput = 1;
  const int before = CopyOf(kOutput);
};

// A pipe to write to and its other end.
class Pipe {
 public:
  Pipe() {
    std::array<int, 2> ends{kNoDescriptor, kNoDescriptor};
    MakePipe(ends.data());
    reader = ends[0];
    write = ends[1];
  }
  ~Pipe() {
    CloseReader();
    CloseDescriptor(write);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void CloseReader() {
    if (reader != kNoDescriptor) CloseDescriptor(reader);
    reader = kNoDescriptor;
  }

  // False when it has taken less than all it can.
  bool Fill() const {
    return WriteTo(write, std::string(kPipeSize, 'x').c_str(), kPipeSize) == kPipeSize;
  }

  // Reads until the text has come, or nobody can write any more; yields what has come.
  std::string ReadUntil(std::string_view text) {
    std::string all;
    std::array<char, 4096> bytes;
    while (all.find(text) == std::string::npos) {
      const int count = ReadFrom(reader, bytes.data(), bytes.size());
      if (count <= 0) break;
      all.append(bytes.data(), static_cast<std::size_t>(count));
      std::erase(all, '\r');  // of Windows' line ends
    }
    return all;
  }

  int write = kNoDescriptor;

 private:
  int reader = kNoDescriptor;
};

}  // namespace idcardreader
