#pragma once

#include <chrono>
#include <string>

#include "base/bytes.h"

namespace devkit {

// A serial line of this machine that needs no hardware: a pseudo-terminal, of which a host opens the
// other end by its name.
class PseudoTerminal {
 public:
  // Throws std::system_error.
  PseudoTerminal();
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  const std::string& Name() const { return name; }

  // What the host sent, waited for no longer than the limit.
  Bytes Receive(std::chrono::microseconds limit);
  // Gives up what the host's end has no room for: nobody reads it.
  void Send(ByteView bytes);
  // How long the line takes for so many bytes at the rate that the host has set.
  std::chrono::microseconds TimeFor(std::size_t bytes) const;

 private:
  int line = -1;
  int hostEnd = -1;  // kept open, so that the line outlives the host's closing it
  std::string name;
};

}  // namespace devkit
