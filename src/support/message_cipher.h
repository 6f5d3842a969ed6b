#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace idcardreader {

// The cipher of card blocks on the wire: TEA with 32 cycles on big-endian words, each block of
// 8 bytes by itself, with a pad whose last byte tells its own length.

// The one key of the service; keys are 16 bytes, used as they stand.
inline constexpr std::string_view kMessageKey = "T5#qLm8!zWx&Rv2~";

// The pad adds 1 to 8 bytes.
constexpr std::int32_t EncipheredLength(std::int32_t plainLength) {
  return (plainLength / 8 + 1) * 8;
}

// Enciphers length >= 0 bytes into an output of EncipheredLength(length) bytes; returns that
// length.
std::int32_t Encipher(std::string_view key, const std::uint8_t* plain, std::int32_t length,
                      std::uint8_t* cipher);

// Deciphers the whole blocks of length bytes into an output of at least that size, and returns the
// length without the pad. The pad is not validated: the result may be anything down to -247, and
// callers test it together with the leading marker bytes. With less than one block the result is 0
// minus the byte before the output area, so the output must lie inside a larger buffer.
std::int32_t Decipher(std::string_view key, const std::uint8_t* cipher, std::int32_t length,
                      std::uint8_t* plain);

}  // namespace idcardreader
