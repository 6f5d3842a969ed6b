#include "support/console.h"

#include <atomic>
#include <cstdio>
#include <string>

namespace idcardreader {
namespace {

std::atomic<bool> printing = true;

}  // namespace

void SwitchPrinting(bool on) { printing = on; }

void Print(std::string_view text) {
  if (!printing) {
    return;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void PrintLine(std::string_view text) { Print(std::string(text).append("\n")); }

}  // namespace idcardreader
