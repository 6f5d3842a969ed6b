#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "reader_model/desk.h"
#include "reader_model/reader_model.h"

namespace devkit {

// The reader model behind blocking calls from any thread. The desk file is looked at on the
// caller's thread, so the virtual reader needs no thread of its own.
class VirtualReader {
 public:
  explicit VirtualReader(std::filesystem::path deskFile);

  // True when a reader with these ids is there; 0 stands for any id. The ids found come back.
  bool Enumerate(unsigned short& vendorId, unsigned short& productId);
  // A handle above 0, or 0.
  int Open(unsigned short vendorId, unsigned short productId);
  // The number of bytes, or -1.
  int Write(int handle, const unsigned char* report, std::size_t length);
  // The number of bytes, 0 when the time ran out, -1 on failure. A negative time is without end.
  int Read(int handle, unsigned char* data, std::size_t length, int milliseconds);
  void Close(int handle);

 private:
  void LookAtDesk();
  bool Matches(unsigned short vendorId, unsigned short productId) const;
  bool HandleAlive(int handle) const;
  static int Deliver(const ReaderOutput& output, unsigned char* data, std::size_t length);

  std::mutex mutex;
  std::condition_variable changed;  // something was queued, closed or unplugged
  DeskFile deskFile;
  DeskState desk;
  ReaderModel reader;
  std::map<int, int> sessions;  // of each open handle
  int nextHandle = 1;
};

}  // namespace devkit
