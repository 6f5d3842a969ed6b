#include "support/console.h"

#include <atomic>
#include <string>

#include "platform/standard_output.h"

namespace idcardreader {
namespace {

std::atomic<bool> printing = true;

}  // namespace

void PrintLine(std::string_view text) {
  if (!printing) {
    return;
  }
  try {
    platform::WriteStandardOutput(std::string(text).append("\n"));
  } catch (...) {
    // No memory for the line.
  }
}

void SwitchPrinting(bool on) { printing = on; }

}  // namespace idcardreader
