#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "decode_service/client_message.h"
#include "decode_service/registry.h"
#include "fault/fault.h"

namespace devkit {

enum class TextEncoding { gbk, utf8 };

// What the service says to one message, before the line and its faults have their turn.
struct Reply {
  std::string exchange;  // as in scenarios; empty for a message of no known kind
  std::string card;      // label of the card in question, if any
  bool accepted = false;
  std::string objection;  // why it was not accepted
  // An acknowledgement that goes out before the answer, when there is one.
  std::string acknowledgement;
  std::string answer;
  std::chrono::microseconds latency{0};
  // The fault that spoils this occasion. What it does to the answer's text is done already; what it
  // does to the line is still to be played.
  std::optional<Fault> fault;
};

// One client's side of the conversation: what it may send next, and whether what it sends is right.
class Session {
 public:
  explicit Session(Registry& registry, TextEncoding encoding = TextEncoding::gbk);

  Reply Handle(const std::string& message);

 private:
  // What is wrong with the message at this point of the conversation; empty when nothing is.
  std::string Object(const ClientMessage& message);
  std::string ObjectToUpload(const ClientMessage& message);
  std::string ObjectToBlock(const ClientMessage& message) const;

  std::string Answer(const ClientMessage& message, const Fault* fault);
  std::string Refusal(const ClientMessage& message, const std::string& code,
                      const std::string& text, TextEncoding textEncoding) const;
  std::string KeyAnswer(const ClientMessage& message, const Fault* fault) const;
  std::string ContentAnswer(const ClientMessage& message, const Fault* fault) const;
  std::string Acknowledgement(const ClientMessage& message) const;

  Registry& registry;
  TextEncoding encoding;
  bool greeted = false;     // a login or a heartbeat opened the connection
  std::string next = "dn";  // the upload that must come now; a DN may come at any time
  std::shared_ptr<const Card> card;
};

}  // namespace devkit
