#include "support/message_cipher.h"

#include <algorithm>
#include <array>

namespace idcardreader {
namespace {

constexpr std::uint32_t kDelta = 0x9E3779B9;
constexpr std::uint32_t kCycles = 32;

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

class Key {
 public:
  explicit Key(std::string_view key) {
    std::array<std::uint8_t, 16> bytes{};
    std::copy_n(key.begin(), std::min(key.size(), bytes.size()), bytes.begin());
    for (std::size_t index = 0; index < words.size(); ++index) {
      words[index] = ReadWord(&bytes[4 * index]);
    }
  }

  void Encipher(const std::uint8_t* plain, std::uint8_t* cipher) const {
    std::uint32_t y = ReadWord(plain);
    std::uint32_t z = ReadWord(plain + 4);
    for (std::uint32_t cycle = 1; cycle <= kCycles; ++cycle) {
      y += Mixed(z, cycle * kDelta, words[0], words[1]);
      z += Mixed(y, cycle * kDelta, words[2], words[3]);
    }
    WriteWord(y, cipher);
    WriteWord(z, cipher + 4);
  }

  void Decipher(const std::uint8_t* cipher, std::uint8_t* plain) const {
    std::uint32_t y = ReadWord(cipher);
    std::uint32_t z = ReadWord(cipher + 4);
    for (std::uint32_t cycle = kCycles; cycle >= 1; --cycle) {
      z -= Mixed(y, cycle * kDelta, words[2], words[3]);
      y -= Mixed(z, cycle * kDelta, words[0], words[1]);
    }
    WriteWord(y, plain);
    WriteWord(z, plain + 4);
  }

 private:
  static std::uint32_t Mixed(std::uint32_t word, std::uint32_t sum, std::uint32_t keyA,
                             std::uint32_t keyB) {
    return ((word << 4) + keyA) ^ (word + sum) ^ ((word >> 5) + keyB);
  }

  std::array<std::uint32_t, 4> words;
};

}  // namespace

std::int32_t Encipher(std::string_view key, const std::uint8_t* plain, std::int32_t length,
                      std::uint8_t* cipher) {
  const Key words(key);
  const std::int32_t wholeBytes = length / 8 * 8;
  for (std::int32_t offset = 0; offset < wholeBytes; offset += 8) {
    words.Encipher(plain + offset, cipher + offset);
  }
  const std::int32_t rest = length - wholeBytes;
  std::array<std::uint8_t, 8> lastBlock{};
  std::copy_n(plain + wholeBytes, rest, lastBlock.begin());
  lastBlock[7] = static_cast<std::uint8_t>(8 - rest);
  words.Encipher(lastBlock.data(), cipher + wholeBytes);
  return wholeBytes + 8;
}

std::int32_t Decipher(std::string_view key, const std::uint8_t* cipher, std::int32_t length,
                      std::uint8_t* plain) {
  const Key words(key);
  const std::int32_t wholeBytes = length / 8 * 8;
  for (std::int32_t offset = 0; offset < wholeBytes; offset += 8) {
    words.Decipher(cipher + offset, plain + offset);
  }
  return wholeBytes - std::int32_t{plain[wholeBytes - 1]};
}

}  // namespace idcardreader
