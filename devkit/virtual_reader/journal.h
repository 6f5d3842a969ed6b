#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "reader_model/reader_model.h"

namespace devkit {

// What a reader's journal tells about the process that uses the reader.
struct HostProcess {
  unsigned long number = 0;
  std::filesystem::path (*library)() = nullptr;  // the host's card library, once it is loaded
};

// What passes between a host and the virtual reader, a JSON object a line, without any of the bytes.
// Each line holds "time" (milliseconds since 1970) and "process", and one of
//   "library"             the file of the host's library: once a process
//   "request", "number"   a request, as it comes in; and again when its answer is complete or given
//                         up, with "ms", "bytes" of the answer and, unless it is a file, "status"
//   "event"               enumerate, open (both with "found"), close, notification, stray,
//                         transfer-failed
// The file never grows beyond a million bytes: then it begins anew. Off, it costs nothing. A line that
// cannot be written is lost.
class Journal {
 public:
  Journal(std::filesystem::path file, HostProcess host);

  void Switch(bool switchOn) { on = switchOn; }

  void Searched(std::string_view event, bool found);
  void Closed();
  void Requested(ByteView request);
  void Delivered(const ReaderOutput& output);
  void TransferFailed();

 private:
  using Json = nlohmann::ordered_json;
  using Clock = std::chrono::steady_clock;

  void GiveUp();
  void Finish();
  void Add(const Json& content);

  std::filesystem::path file;
  HostProcess host;
  bool on = false;
  bool libraryTold = false;
  std::uint64_t number = 0;  // of the request that came last

  // The request whose answer is not complete.
  std::string pending;
  std::size_t wanted = 0;  // bytes of a file, 0 for any other answer
  std::size_t delivered = 0;
  int status = -1;
  Clock::time_point begin;
};

}  // namespace devkit
