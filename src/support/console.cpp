#include "support/console.h"

#include <cstdio>
#include <string>

namespace idcardreader {

void Print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void PrintLine(std::string_view text) { Print(std::string(text).append("\n")); }

}  // namespace idcardreader
