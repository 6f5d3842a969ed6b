#pragma once

#include <string>

namespace readcard {

// Puts a serial port ("COM3", "3", or a device's path) into the text of a conf.yaml, whose other lines
// stay as they are. Empty when that is no port.
std::string WithSerialPort(const std::string& configuration, const std::string& port);

// The same with the file beside the program. False, and the reason in `complaint`, when that fails.
bool ConfigureSerialPort(const std::string& port, std::string& complaint);

}  // namespace readcard
