#pragma once

#include <optional>
#include <string>

#include "base/bytes.h"

namespace devkit {

enum class Dialect { token, device_code };

// One message of a client, read as strictly as can be.
struct ClientMessage {
  Dialect dialect = Dialect::token;
  std::string exchange;  // as in scenarios; empty when it cannot be told
  std::string token;
  std::optional<Bytes> block;  // deciphered; none in a message that carries none
  std::string objection;       // what is wrong with its form; empty when nothing is
};

ClientMessage ReadClientMessage(const std::string& text);

// True when a line feed belongs to this message: those of the token dialect have one.
bool EndsWithLineFeed(const std::string& text);

}  // namespace devkit
