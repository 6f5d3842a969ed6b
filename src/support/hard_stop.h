#pragma once

namespace idcardreader {

using HardStopHandler = void (*)(const char* reason);

// Ends the process: for input that must never be worked on any further. The handler of the shipped
// library aborts. A fuzzer installs one that throws, to tell these ends from crashes; a handler
// that returns is followed by the abort all the same.
[[noreturn]] void HardStop(const char* reason);

// Null restores the abort. Not to be called while other threads may stop.
void SetHardStopHandler(HardStopHandler handler);

}  // namespace idcardreader
