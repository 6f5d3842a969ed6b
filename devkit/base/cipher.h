#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "base/bytes.h"

namespace devkit {

// The key that the service and its clients share.
inline constexpr std::string_view kMessageKey = "T5#qLm8!zWx&Rv2~";

using CipherBlock = std::array<std::uint8_t, 8>;

// The Tiny Encryption Algorithm with 32 cycles on big-endian words; key holds 16 bytes.
CipherBlock EncipherBlock(ByteView key, CipherBlock block);
CipherBlock DecipherBlock(ByteView key, CipherBlock block);

// Block by block, each by itself. A last block of zero bytes that ends in the number of bytes it
// adds (1 to 8) is always appended.
Bytes Encipher(std::string_view key, ByteView plain);

// Throws std::runtime_error for a length that is no whole number of blocks or an impossible pad:
// the devkit takes nothing for granted that a client sends.
Bytes Decipher(std::string_view key, ByteView enciphered);

}  // namespace devkit
