#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string_view>

#include "base/bytes.h"
#include "base/reader_commands.h"
#include "card/card.h"
#include "fault/fault_book.h"

namespace devkit {

using Moment = std::chrono::steady_clock::time_point;

// One thing that comes out of the reader.
struct ReaderOutput {
  enum class Kind { answer, file_data, io_error };

  Moment due;
  Kind kind = Kind::answer;
  // An answer or notification: 64 bytes unless a fault cut it short. File data: the bytes of the
  // file alone, 60 at most; the edge that carries them fills them up as its line demands.
  Bytes bytes;
};

// What the reader tells about itself.
struct ReaderIdentity {
  Bytes authorizeCode;  // 6 bytes
  Bytes version;        // 2 bytes
};
ReaderIdentity StandardReaderIdentity();

// One card reader without any input or output of its own: requests and the time go in, answers with
// the time when they are due come out. It is as strict as a reader can be: what is not in order is
// refused, so that a mistake of the host cannot pass unseen.
class ReaderModel {
 public:
  explicit ReaderModel(ReaderIdentity identity = StandardReaderIdentity());

  // Null takes the card away. Each call is a new presentation of a card, also of the same one: what
  // was read of it before is forgotten, and a search that is on reports it.
  void PutCard(std::shared_ptr<const Card> card, Moment now);
  void SetIdentity(ReaderIdentity identity);
  // Starts all faults afresh.
  void SetFaults(Section section);
  void SetPlugged(bool plugged);

  // What a host meets before it talks to the reader. A handle is opened with the session number and
  // is dead when the number is another one.
  struct Contact {
    bool there = false;
    std::chrono::microseconds pause{0};  // to be waited before the call returns
  };
  Contact Enumerate();
  Contact Open(Moment now);
  int SessionNumber() const { return session; }
  bool Alive(int sessionNumber) const { return plugged && sessionNumber == session; }

  struct Taken {
    bool ok = true;  // false: the transfer failed
    std::chrono::microseconds pause{0};
  };
  // Command and parameters, without a report id. Bytes after the parameters are of no meaning.
  Taken Request(ByteView request, Moment now);

  std::optional<Moment> NextDue() const;
  // The oldest output that is due, if any.
  std::optional<ReaderOutput> Take(Moment now);

  bool SearchOn() const { return searchOn; }
  int BeepTenths() const { return lastBeep; }  // of the last beep, in units of 10 ms; 0 for none

 private:
  enum class Progress { nothing, dn_read, input_key_accepted, output_key_accepted };

  const Fault* NextFault(std::string_view at);
  std::chrono::microseconds LatencyOf(std::string_view at) const;
  Bytes Answer(ByteView request);
  Bytes FileBytes(ByteView request) const;
  void Spoil(const Fault& fault, Bytes& answer);
  void FailTransfer(const Fault& fault, Moment now);
  void Unplug(int enumerationsUntilBack);
  void QueueStale(const Fault& fault, Moment now);
  void Queue(ReaderOutput output);
  void QueueAnswer(Bytes answer, std::string_view at, const Fault* fault, Moment now);
  void QueueFile(const Bytes& content, std::string_view at, const Fault* fault, Moment now);
  void Notify(Moment now);
  Moment NextFree(Moment now, std::chrono::microseconds latency);

  ReaderIdentity identity;
  std::shared_ptr<const Card> card;
  FaultBook faults;
  FaultBook cardFaults;
  bool plugged = true;
  int enumerationsUntilBack = -1;  // that still find nothing after an unplug; -1: it stays away
  int session = 0;
  Progress progress = Progress::nothing;
  bool searchOn = false;
  int lastBeep = 0;
  std::deque<ReaderOutput> outputs;
  Moment lastDue{};  // the reader speaks one report after the other
};

// The name of a request in faults and latencies; empty for one that the reader does not know.
std::string_view RequestName(ByteView request);

}  // namespace devkit
