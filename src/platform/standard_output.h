#pragma once

#include <string_view>

namespace idcardreader::platform {

// Writes to the process's standard output, as text where the system tells text from bytes. Not by
// way of the language's own stream, whose lock a thread of the host may hold for as long as nobody
// reads what it writes. What is not taken is dropped, and no signal comes of it. All calls of ten
// seconds together wait for 50 ms at most, and for nothing once the output does not move.
void WriteStandardOutput(std::string_view text);

// Waits until what was written is out, 50 ms at most. To be called when nobody writes, before the
// host may unload the library: whatever still wrote would keep it in memory.
void SettleStandardOutput();

}  // namespace idcardreader::platform
