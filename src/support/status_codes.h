#pragma once

#include <cstdint>
#include <string_view>

namespace idcardreader {

// What went wrong in a read; the numbers are shared with hosts and log files, their table is
// include/idcardreader/codes.json. Each failure is raised in one place of the code.
enum ERRORT : std::int32_t {
#include "status_code_names.inc"
};

// GBK texts that live as long as the library. Any code outside 0 to 56 has the text of code 0.
std::string_view StatusText(std::int32_t code);
// The text of a reader's status byte; empty for 0.
std::string_view DeviceStatusText(std::uint8_t status);

}  // namespace idcardreader
