#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace devkit {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// Two upper-case digits a byte.
std::string ToHex(ByteView bytes);

// Throws std::invalid_argument for anything but pairs of hexadecimal digits.
Bytes FromHex(std::string_view text);

// The same bytes for the same seed, purpose and position on every machine: stands for chip
// contents, photos and keys, so that a card file need not hold thousands of numbers.
Bytes PatternBytes(std::uint64_t seed, std::string_view purpose, std::size_t count);

}  // namespace devkit
