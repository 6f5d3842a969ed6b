#pragma once

#include <optional>
#include <string>

#include "support/logs.h"
#include "support/redirected_output.h"

namespace idcardreader {

// What the library prints meanwhile. A thread of its own may write it, so a line of ours behind it
// tells that all of it has come.
class CapturedOutput {
 public:
  std::string Take() {
    SwitchPrinting(true);
    PrintLine("that is all");
    const std::string text = pipe.ReadUntil("that is all\n");
    redirected.reset();
    return text.substr(0, text.find("that is all\n"));
  }

 private:
  Pipe pipe;
  std::optional<RedirectedOutput> redirected{std::in_place, pipe.write};
};

}  // namespace idcardreader
