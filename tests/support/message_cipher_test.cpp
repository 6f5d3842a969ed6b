#include "support/message_cipher.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"

namespace idcardreader {
namespace {

void ExpectBlock(const char* key, const char* plain, const char* cipher) {
  std::vector<std::uint8_t> block(8);
  EncipherBlock(Text(key), Bytes(plain).data(), block.data());
  EXPECT_EQ(block, Bytes(cipher));
  DecipherBlock(Text(key), Bytes(cipher).data(), block.data());
  EXPECT_EQ(block, Bytes(plain));
}

// Published for the cipher with big-endian words.
TEST(MessageCipher, MatchesThePublishedVectorsBothWays) {
  ExpectBlock("00000000000000000000000000000000", "0102030405060708", "6A2F9CF3FCCF3C55");
  ExpectBlock("0123456712345678234567893456789A", "0102030405060708", "773DC179878A81C0");
}

// Returns the result of deciphering into an area that lies behind a byte of 2A.
std::int32_t Deciphered(const std::vector<std::uint8_t>& cipher, std::vector<std::uint8_t>& plain) {
  plain.assign(1 + cipher.size(), 0x2A);
  const auto length = static_cast<std::int32_t>(cipher.size());
  const std::int32_t result = Decipher(kMessageKey, cipher.data(), length, plain.data() + 1);
  plain.erase(plain.begin());
  return result;
}

void ExpectBuffer(const char* plainHex, const char* cipherHex) {
  std::vector<std::uint8_t> plain = Bytes(plainHex);
  const auto length = static_cast<std::int32_t>(plain.size());
  std::vector<std::uint8_t> cipher(static_cast<std::size_t>(EncipheredLength(length)));
  EXPECT_EQ(Encipher(kMessageKey, plain.data(), length, cipher.data()), EncipheredLength(length));
  EXPECT_EQ(cipher, Bytes(cipherHex)) << plainHex;
  std::vector<std::uint8_t> back;
  EXPECT_EQ(Deciphered(cipher, back), length);
  back.resize(plain.size());
  EXPECT_EQ(back, plain);
}

// Under the service's key; the enciphered bytes come from another implementation.
TEST(MessageCipher, PadsEveryBufferByOneToEightBytes) {
  ExpectBuffer("", "4080DB66359F64A0");  // 00 00 00 00 00 00 00 08
  ExpectBuffer("414243", "5309D231045684BD");
  ExpectBuffer("41424344454647", "768BF4A07C4604D3");
  ExpectBuffer("4142434445464748", "1C5791CE5DF63FC1 4080DB66359F64A0");
}

// Also where several are worked on side by side.
TEST(MessageCipher, HandlesEachBlockByItself) {
  std::string plain;
  std::string cipher;
  for (int i = 0; i < 11; ++i) {
    plain += i % 3 == 0 ? "4142434445464748" : "0000000000000008";
    cipher += i % 3 == 0 ? "1C5791CE5DF63FC1" : "4080DB66359F64A0";
  }
  ExpectBuffer((plain + "414243").c_str(), (cipher + "5309D231045684BD").c_str());
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
