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

// So many blocks are worked on side by side: none needs another one's result, and one alone would
// leave most of the processor waiting for its own.
constexpr std::size_t kSideBySide = 8;

template <std::size_t Count>
struct Words {
  std::array<std::uint32_t, Count> y, z;
};

template <std::size_t Count>
Words<Count> ReadBlocks(const std::uint8_t* bytes) {
  Words<Count> words;
  for (std::size_t block = 0; block < Count; ++block) {
    words.y[block] = ReadWord(bytes + block * kCipherBlockSize);
    words.z[block] = ReadWord(bytes + block * kCipherBlockSize + 4);
  }
  return words;
}

template <std::size_t Count>
void WriteBlocks(const Words<Count>& words, std::uint8_t* bytes) {
  for (std::size_t block = 0; block < Count; ++block) {
    WriteWord(words.y[block], bytes + block * kCipherBlockSize);
    WriteWord(words.z[block], bytes + block * kCipherBlockSize + 4);
  }
}

constexpr std::uint32_t Mixed(std::uint32_t word, std::uint32_t sum, std::uint32_t keyA,
                              std::uint32_t keyB) {
  return ((word << 4) + keyA) ^ (word + sum) ^ ((word >> 5) + keyB);
}

template <std::size_t Count>
void EncipherBlocks(const KeyWords& key, const std::uint8_t* plain, std::uint8_t* cipher) {
  auto [y, z] = ReadBlocks<Count>(plain);
  std::uint32_t sum = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    sum += kDelta;
    for (std::size_t i = 0; i < Count; ++i) {
      y[i] += Mixed(z[i], sum, key.k0, key.k1);
    }
    for (std::size_t i = 0; i < Count; ++i) {
      z[i] += Mixed(y[i], sum, key.k2, key.k3);
    }
  }
  WriteBlocks<Count>({y, z}, cipher);
}

template <std::size_t Count>
void DecipherBlocks(const KeyWords& key, const std::uint8_t* cipher, std::uint8_t* plain) {
  auto [y, z] = ReadBlocks<Count>(cipher);
  std::uint32_t sum = kDecipherStart;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    for (std::size_t i = 0; i < Count; ++i) {
      z[i] -= Mixed(y[i], sum, key.k2, key.k3);
    }
    for (std::size_t i = 0; i < Count; ++i) {
      y[i] -= Mixed(z[i], sum, key.k0, key.k1);
    }
    sum -= kDelta;
  }
  WriteBlocks<Count>({y, z}, plain);
}

using BlockFunction = void(const KeyWords&, const std::uint8_t*, std::uint8_t*);

// The whole blocks of a buffer.
template <BlockFunction* Several, BlockFunction* One>
void ForEachBlock(const KeyWords& key, const std::uint8_t* input, std::size_t length,
                  std::uint8_t* output) {
  constexpr std::size_t kGroup = kSideBySide * kCipherBlockSize;
  std::size_t offset = 0;
  for (; length - offset >= kGroup; offset += kGroup) {
    Several(key, input + offset, output + offset);
  }
  for (; length - offset >= kCipherBlockSize; offset += kCipherBlockSize) {
    One(key, input + offset, output + offset);
  }
}

}  // namespace

void EncipherBlock(std::string_view key, const std::uint8_t* plain, std::uint8_t* cipher) {
  EncipherBlocks<1>(ReadKey(key), plain, cipher);
}

void DecipherBlock(std::string_view key, const std::uint8_t* cipher, std::uint8_t* plain) {
  DecipherBlocks<1>(ReadKey(key), cipher, plain);
}

std::int32_t Encipher(std::string_view key, const std::uint8_t* plain, std::int32_t length,
                      std::uint8_t* cipher) {
  const KeyWords words = ReadKey(key);
  const std::int32_t wholeBytes = length / 8 * 8;
  ForEachBlock<EncipherBlocks<kSideBySide>, EncipherBlocks<1>>(
      words, plain, static_cast<std::size_t>(wholeBytes), cipher);
  const std::int32_t rest = length - wholeBytes;
  std::array<std::uint8_t, kCipherBlockSize> lastBlock{};
  std::copy_n(plain + wholeBytes, rest, lastBlock.begin());
  lastBlock[7] = static_cast<std::uint8_t>(8 - rest);
  EncipherBlocks<1>(words, lastBlock.data(), cipher + wholeBytes);
  return wholeBytes + 8;
}

std::int32_t Decipher(std::string_view key, const std::uint8_t* cipher, std::int32_t length,
                      std::uint8_t* plain) {
  const std::int32_t wholeBytes = length / 8 * 8;
  if (wholeBytes < 8) {
    return 0 - std::int32_t{*(plain - 1)};
  }
  const KeyWords words = ReadKey(key);
  ForEachBlock<DecipherBlocks<kSideBySide>, DecipherBlocks<1>>(
      words, cipher, static_cast<std::size_t>(wholeBytes), plain);
  return wholeBytes - std::int32_t{plain[wholeBytes - 1]};
}

}  // namespace idcardreader
