#pragma once

#include <string>
#include <string_view>

namespace devkit {

// The key of appid.dat and hostport.dat.
inline constexpr std::string_view kDataFileKey = "QJXTWMBRK";

// Texts as these files carry them: hexadecimal digits, the first pair a start value that whoever
// writes the file may choose.
std::string Scramble(std::string_view text, std::string_view key, unsigned char start);

// Throws std::invalid_argument for anything but pairs of hexadecimal digits, one at least.
std::string Descramble(std::string_view scrambled, std::string_view key);

}  // namespace devkit
