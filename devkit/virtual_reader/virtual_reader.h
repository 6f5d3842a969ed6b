#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "reader_model/desk.h"
#include "reader_model/reader_model.h"
#include "virtual_reader/journal.h"
#include "virtual_reader/thread_life.h"

namespace devkit {

// The reader model behind blocking calls from any thread. The desk file is looked at on the
// caller's thread, so the virtual reader needs no thread of its own.
//
// It is as touchy as hidapi is on Windows, on every platform: a read that has run out of time stays
// under way and belongs to its thread. The next read goes on waiting for it; when that thread has
// ended, the system has cancelled it, and the next read fails, once. To close the device from another
// thread meanwhile is a mistake.
class VirtualReader {
 public:
  explicit VirtualReader(const std::filesystem::path& deskFile, HostProcess host = {});

  // Says that it is at work, so that nobody takes it for a reader.
  void Announce() const;

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
  struct Handle {
    int session = 0;
    std::shared_ptr<const ThreadLife> reading;  // the thread of the read that is under way
  };

  void LookAtDesk();
  // To the standard error, and into a file beside the desk: a program with windows has no standard
  // error, and a test looks there.
  void Note(const std::string& text) const;
  bool Matches(unsigned short vendorId, unsigned short productId) const;
  Handle* LiveHandle(int number);
  bool Cancelled(const Handle& handle) const;
  int Deliver(const ReaderOutput& output, unsigned char* data, std::size_t length);

  std::mutex mutex;
  std::condition_variable changed;  // something was queued, closed or unplugged
  DeskFile deskFile;
  DeskState desk;
  ReaderModel reader;
  Journal journal;
  std::map<int, Handle> handles;  // the open ones
  int nextHandle = 1;
};

}  // namespace devkit
