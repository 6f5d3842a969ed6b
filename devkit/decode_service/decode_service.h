#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "card/card.h"
#include "decode_service/session.h"
#include "fault/fault.h"

namespace devkit {

// One step of a connection, for those who look on.
struct ServiceEvent {
  enum class Kind { connected, closed, arrived, answered };
  Kind kind = Kind::connected;
  int connection = 0;
  // Of a message that has arrived, and again when what there is to say to it was said.
  std::string exchange = {};  // empty for a message of no known kind
  std::string card = {};
  std::string objection = {};  // why it was refused; empty when it was not
  bool spoiled = false;        // as the scenario says
  double milliseconds = 0;     // from the message to the end of its answer
  std::size_t bytes = 0;       // of the answer, without an acknowledgement before it
};

struct ServiceOptions {
  std::uint16_t port = 0;  // 0: any free one
  TextEncoding encoding = TextEncoding::gbk;
  // A scenario file to be looked at again whenever a client connects; none when empty.
  std::filesystem::path scenarioFile = {};
  // Called on the service's thread, one line a call; none when empty.
  std::function<void(const std::string&)> log = {};
  // The same, for programs.
  std::function<void(const ServiceEvent&)> observer = {};
  bool logTexts = false;  // the messages themselves, too
  // Messages that are remembered; the oldest are forgotten first.
  std::size_t rememberedMessages = 1000;
};

// A message as it came in.
struct ReceivedMessage {
  int connection = 0;  // numbered from 1 in the order of their coming
  std::string text;    // without its line end
  bool lineFeed = false;
  std::string exchange;
  std::string card;
  bool accepted = false;
  std::string objection;
};

// The decode service: listens on 127.0.0.1 and serves any number of clients at once, on one thread
// of its own. All members may be called from any thread but that one.
class DecodeService {
 public:
  // Throws std::system_error when the port cannot be had, FileError for a set of cards that cannot
  // be.
  explicit DecodeService(std::vector<Card> cards, Scenario scenario = {},
                         ServiceOptions options = {});
  ~DecodeService();
  DecodeService(const DecodeService&) = delete;
  DecodeService& operator=(const DecodeService&) = delete;

  std::uint16_t Port() const;

  // Both hold for everything that is answered after the call.
  void SetScenario(Scenario scenario);
  void SetCards(std::vector<Card> cards);
  void ExpireAllTokens();

  // Closes every connection and stops listening; nothing is answered after the call.
  void Stop();

  std::vector<ReceivedMessage> Received() const;
  void ForgetReceived();
  // True once so many messages have been received since the last ForgetReceived.
  bool WaitForReceived(std::size_t count, std::chrono::milliseconds limit) const;
  int ConnectionsSoFar() const;
  int OpenConnections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl;
};

}  // namespace devkit
