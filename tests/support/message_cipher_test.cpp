#include "support/message_cipher.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/bytes.h"

namespace idcardreader {
namespace {

// Returns the result of deciphering into an area that lies behind a byte of 2A.
std::int32_t Deciphered(const std::vector<std::uint8_t>& cipher, std::vector<std::uint8_t>& plain) {
  plain.assign(1 + cipher.size(), 0x2A);
  const auto length = static_cast<std::int32_t>(cipher.size());
  const std::int32_t result = Decipher(kMessageKey, cipher.data(), length, plain.data() + 1);
  plain.erase(plain.begin());
  return result;
}

// Under the service's key; the enciphered bytes come from another implementation.
TEST(MessageCipher, PadsEveryBufferByOneToEightBytes) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "4080DB66359F64A0"},  // 00 00 00 00 00 00 00 08
      {"41424344454647", "768BF4A07C4604D3"},
      {"4142434445464748", "1C5791CE5DF63FC1 4080DB66359F64A0"}};
  for (const auto& [plainHex, cipherHex] : rows) {
    std::vector<std::uint8_t> plain = Bytes(plainHex);
    const auto length = static_cast<std::int32_t>(plain.size());
    std::vector<std::uint8_t> cipher(static_cast<std::size_t>(EncipheredLength(length)));
    Encipher(kMessageKey, plain.data(), length, cipher.data());
    EXPECT_EQ(cipher, Bytes(cipherHex)) << plainHex;
    std::vector<std::uint8_t> back;
    EXPECT_EQ(Deciphered(cipher, back), length);
    back.resize(plain.size());
    EXPECT_EQ(back, plain);
  }
}

TEST(MessageCipher, TakesAPadAsItStands) {
  std::vector<std::uint8_t> plain;
  EXPECT_EQ(Deciphered(Bytes("CEB1C62931642333"), plain), 8);      // a last byte of 0
  EXPECT_EQ(Deciphered(Bytes("D42968D5392EB1B3"), plain), 8 - 9);  // more than the block
  EXPECT_EQ(Deciphered(Bytes("2833DCB8A9F921F6"), plain), 8 - 255);
  EXPECT_EQ(Deciphered(Bytes("1C5791CE5DF63FC1 D42968D5392EB1B3"), plain), 16 - 9);
  EXPECT_EQ(Deciphered(Bytes("768BF4A07C4604D3 11223344"), plain), 7);  // half a block more
  EXPECT_EQ(Deciphered({}, plain), -0x2A);  // nothing to decipher: the byte before the area
  EXPECT_EQ(Deciphered(Bytes("11223344556677"), plain), -0x2A);
}

}  // namespace
}  // namespace idcardreader
