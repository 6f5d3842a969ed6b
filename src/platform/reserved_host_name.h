#pragma once

#include <string>

namespace idcardreader::platform {

// True for names that no resolver is to be asked: those under ".invalid", empty ones, and ones with
// a zero byte in them, of which the system would see the first part only.
bool IsReservedHostName(const std::string& name);

}  // namespace idcardreader::platform
