#include "support/message_cipher.h"

#include <algorithm>
#include <array>

namespace idcardreader {
namespace {

constexpr std::uint32_t kDelta = 0x9E3779B9;
constexpr int kCycles = 32;
constexpr std::uint32_t kDecipherStart = kDelta * kCycles;

struct KeyWords {
  std::uint32_t k0, k1, k2, k3;
};

std::uint32_t ReadWord(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

void WriteWord(std::uint32_t word, std::uint8_t* bytes) {
  bytes[0] = static_cast<std::uint8_t>(word >> 24);
  bytes[1] = static_cast<std::uint8_t>(word >> 16);
  bytes[2] = static_cast<std::uint8_t>(word >> 8);
  bytes[3] = static_cast<std::uint8_t>(word);
}

KeyWords ReadKey(std::string_view key) {
  std::array<std::uint8_t, 16> bytes{};
  std::copy_n(key.begin(), std::min(key.size(), bytes.size()), bytes.begin());
  return {ReadWord(&bytes[0]), ReadWord(&bytes[4]), ReadWord(&bytes[8]), ReadWord(&bytes[12])};
}

void EncipherBlock(const KeyWords& key, const std::uint8_t* plain, std::uint8_t* cipher) {
  std::uint32_t y = ReadWord(plain);
  std::uint32_t z = ReadWord(plain + 4);
  std::uint32_t sum = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    sum += kDelta;
    y += ((z << 4) + key.k0) ^ (z + sum) ^ ((z >> 5) + key.k1);
    z += ((y << 4) + key.k2) ^ (y + sum) ^ ((y >> 5) + key.k3);
  }
  WriteWord(y, cipher);
  WriteWord(z, cipher + 4);
}

void DecipherBlock(const KeyWords& key, const std::uint8_t* cipher, std::uint8_t* plain) {
  std::uint32_t y = ReadWord(cipher);
  std::uint32_t z = ReadWord(cipher + 4);
  std::uint32_t sum = kDecipherStart;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    z -= ((y << 4) + key.k2) ^ (y + sum) ^ ((y >> 5) + key.k3);
    y -= ((z << 4) + key.k0) ^ (z + sum) ^ ((z >> 5) + key.k1);
    sum -= kDelta;
  }
  WriteWord(y, plain);
  WriteWord(z, plain + 4);
}

}  // namespace

void EncipherBlock(std::string_view key, const std::uint8_t* plain, std::uint8_t* cipher) {
  EncipherBlock(ReadKey(key), plain, cipher);
}

void DecipherBlock(std::string_view key, const std::uint8_t* cipher, std::uint8_t* plain) {
  DecipherBlock(ReadKey(key), cipher, plain);
}

std::int32_t Encipher(std::string_view key, const std::uint8_t* plain, std::int32_t length,
                      std::uint8_t* cipher) {
  const KeyWords words = ReadKey(key);
  const std::int32_t wholeBytes = length / 8 * 8;
  for (std::int32_t offset = 0; offset < wholeBytes; offset += 8) {
    EncipherBlock(words, plain + offset, cipher + offset);
  }
  const std::int32_t rest = length - wholeBytes;
  std::array<std::uint8_t, kCipherBlockSize> lastBlock{};
  std::copy_n(plain + wholeBytes, rest, lastBlock.begin());
  lastBlock[7] = static_cast<std::uint8_t>(8 - rest);
  EncipherBlock(words, lastBlock.data(), cipher + wholeBytes);
  return wholeBytes + 8;
}

std::int32_t Decipher(std::string_view key, const std::uint8_t* cipher, std::int32_t length,
                      std::uint8_t* plain) {
  const std::int32_t wholeBytes = length / 8 * 8;
  if (wholeBytes < 8) {
    return 0 - std::int32_t{*(plain - 1)};
  }
  const KeyWords words = ReadKey(key);
  for (std::int32_t offset = 0; offset < wholeBytes; offset += 8) {
    DecipherBlock(words, cipher + offset, plain + offset);
  }
  return wholeBytes - std::int32_t{plain[wholeBytes - 1]};
}

}  // namespace idcardreader
