#pragma once

#include <string_view>

namespace idcardreader {

// Writes to the process's standard output at once, so that the lines keep their order among those
// of the host. The text goes out as it stands.
void Print(std::string_view text);
void PrintLine(std::string_view text);

// Off, nothing is printed any more until it is on again.
void SwitchPrinting(bool on);

}  // namespace idcardreader
