#include "base/cipher.h"

#include <algorithm>
#include <stdexcept>

namespace devkit {
namespace {

constexpr std::uint32_t kDelta = 0x9E3779B9;
constexpr int kCycles = 32;
constexpr std::size_t kBlockSize = 8;

std::uint32_t Word(ByteView bytes, std::size_t offset) {
  return std::uint32_t{bytes[offset]} << 24 | std::uint32_t{bytes[offset + 1]} << 16 |
         std::uint32_t{bytes[offset + 2]} << 8 | std::uint32_t{bytes[offset + 3]};
}

CipherBlock Block(std::uint32_t first, std::uint32_t second) {
  CipherBlock block;
  for (std::size_t i = 0; i < 4; ++i) {
    block[i] = static_cast<std::uint8_t>(first >> (24 - 8 * i));
    block[4 + i] = static_cast<std::uint8_t>(second >> (24 - 8 * i));
  }
  return block;
}

std::uint32_t Round(std::uint32_t word, std::uint32_t sum, std::uint32_t left,
                    std::uint32_t right) {
  return ((word << 4) + left) ^ (word + sum) ^ ((word >> 5) + right);
}

ByteView KeyBytes(std::string_view key) {
  if (key.size() != 16) throw std::invalid_argument("the cipher key holds 16 bytes");
  return {reinterpret_cast<const std::uint8_t*>(key.data()), key.size()};
}

CipherBlock TakeBlock(ByteView bytes, std::size_t offset) {
  CipherBlock block{};
  const std::size_t count = std::min(kBlockSize, bytes.size() - offset);
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, block.begin());
  return block;
}

}  // namespace

CipherBlock EncipherBlock(ByteView key, CipherBlock block) {
  std::uint32_t first = Word(block, 0);
  std::uint32_t second = Word(block, 4);
  std::uint32_t sum = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    sum += kDelta;
    first += Round(second, sum, Word(key, 0), Word(key, 4));
    second += Round(first, sum, Word(key, 8), Word(key, 12));
  }
  return Block(first, second);
}

CipherBlock DecipherBlock(ByteView key, CipherBlock block) {
  std::uint32_t first = Word(block, 0);
  std::uint32_t second = Word(block, 4);
  std::uint32_t sum = kDelta * kCycles;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    second -= Round(first, sum, Word(key, 8), Word(key, 12));
    first -= Round(second, sum, Word(key, 0), Word(key, 4));
    sum -= kDelta;
  }
  return Block(first, second);
}

Bytes Encipher(std::string_view key, ByteView plain) {
  const ByteView keyBytes = KeyBytes(key);
  Bytes enciphered;
  for (std::size_t offset = 0; offset <= plain.size(); offset += kBlockSize) {
    CipherBlock block = TakeBlock(plain, offset);
    const std::size_t taken = plain.size() - offset;
    if (taken < kBlockSize) block.back() = static_cast<std::uint8_t>(kBlockSize - taken);
    block = EncipherBlock(keyBytes, block);
    enciphered.insert(enciphered.end(), block.begin(), block.end());
  }
  return enciphered;
}

Bytes Decipher(std::string_view key, ByteView enciphered) {
  const ByteView keyBytes = KeyBytes(key);
  if (enciphered.empty() || enciphered.size() % kBlockSize != 0) {
    throw std::runtime_error("enciphered length " + std::to_string(enciphered.size()) +
                             " is no whole number of blocks");
  }
  Bytes plain;
  for (std::size_t offset = 0; offset < enciphered.size(); offset += kBlockSize) {
    const CipherBlock block = DecipherBlock(keyBytes, TakeBlock(enciphered, offset));
    plain.insert(plain.end(), block.begin(), block.end());
  }
  const std::size_t pad = plain.back();
  if (pad < 1 || pad > kBlockSize) {
    throw std::runtime_error("pad count " + std::to_string(pad) + " is impossible");
  }
  const auto padStart = plain.end() - static_cast<std::ptrdiff_t>(pad);
  if (std::any_of(padStart, plain.end() - 1, [](std::uint8_t byte) { return byte != 0; })) {
    throw std::runtime_error("the pad holds bytes other than zero");
  }
  plain.erase(padStart, plain.end());
  return plain;
}

}  // namespace devkit
