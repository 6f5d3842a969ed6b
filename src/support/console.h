#pragma once

#include <string_view>

namespace idcardreader {

// Writes a line to the process's standard output, unless that is switched off for the process; it is
// on at first. Never fails its caller and hardly delays it: what standard output does not take is
// lost.
void PrintLine(std::string_view text);
void SwitchPrinting(bool on);

}  // namespace idcardreader
