#pragma once

#include <map>
#include <string>

#include "service/scripted_sockets.h"
#include "service/wire_samples.h"

namespace idcardreader {

// A service that answers each message of the token dialect, by a word in the message; an entry may
// be changed, and taking it out makes the service keep silent.
class ScriptedService {
 public:
  explicit ScriptedService(ScriptedSockets& sockets) {
    sockets.blockWithoutAnswer = true;
    sockets.onSend = [this, &sockets](const std::string& message) {
      for (const auto& [word, answer] : answers) {
        if (message.find('"' + word + '"') != std::string::npos) sockets.Answer(answer);
      }
    };
  }

  std::map<std::string, std::string> answers = {
      {"login", wire::kLoginAnswer},    {"HEARTBEAT", wire::kAcknowledgement},
      {"dn2", wire::InputKeyAnswer()},  {"BBB2", wire::OutputKeyAnswer()},
      {"BB11", wire::kAcknowledgement}, {"BB12", wire::kAcknowledgement},
      {"BB13", wire::kAcknowledgement}, {"BB21", wire::PermitAnswer()},
      {"BB21_2", wire::PermitAnswer()},
  };
};

}  // namespace idcardreader
