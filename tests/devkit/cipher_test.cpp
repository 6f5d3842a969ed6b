// The devkit's own cipher against vectors of the algorithm from outside.

#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

struct Vector {
  const char* key;
  const char* plain;
  const char* enciphered;
};

class TeaVectorTest : public testing::TestWithParam<Vector> {};

TEST_P(TeaVectorTest, IsMetBothWays) {
  const Bytes key = FromHex(GetParam().key);
  CipherBlock plain{};
  CipherBlock enciphered{};
  const Bytes plainBytes = FromHex(GetParam().plain);
  const Bytes encipheredBytes = FromHex(GetParam().enciphered);
  std::copy(plainBytes.begin(), plainBytes.end(), plain.begin());
  std::copy(encipheredBytes.begin(), encipheredBytes.end(), enciphered.begin());
  EXPECT_EQ(EncipherBlock(key, plain), enciphered);
  EXPECT_EQ(DecipherBlock(key, enciphered), plain);
}

INSTANTIATE_TEST_SUITE_P(
    Published, TeaVectorTest,
    testing::Values(
        Vector{"00000000000000000000000000000000", "0000000000000000", "41EA3A0A94BAA940"},
        Vector{"00000000000000000000000000000000", "0102030405060708", "6A2F9CF3FCCF3C55"},
        Vector{"0123456712345678234567893456789A", "0000000000000000", "34E943B0900F5DCB"},
        Vector{"0123456712345678234567893456789A", "0102030405060708", "773DC179878A81C0"}));

TEST(CipherTest, PadsEveryLengthToWholeBlocks) {
  const Bytes plain = PatternBytes(1, "plain", 1026);
  for (const std::size_t length : {0u, 1u, 7u, 8u, 9u, 26u, 42u, 216u, 258u, 1026u}) {
    const Bytes enciphered = Encipher(kMessageKey, {plain.data(), length});
    EXPECT_EQ(enciphered.size(), (length / 8 + 1) * 8);
    EXPECT_EQ(Decipher(kMessageKey, enciphered),
              Bytes(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(length)));
  }
}

TEST(CipherTest, RefusesWhatNoClientEnciphers) {
  const Bytes key(kMessageKey.begin(), kMessageKey.end());
  EXPECT_THROW(Decipher(kMessageKey, Bytes(12)), std::runtime_error);
  EXPECT_THROW(Decipher(kMessageKey, Bytes()), std::runtime_error);
  for (const CipherBlock& last :
       {CipherBlock{0, 0, 0, 0, 0, 0, 0, 0}, CipherBlock{0, 0, 0, 0, 0, 0, 0, 9},
        CipherBlock{0, 0, 0, 0, 0, 0, 1, 3}}) {
    const CipherBlock enciphered = EncipherBlock(key, last);
    EXPECT_THROW(Decipher(kMessageKey, enciphered), std::runtime_error);
  }
}

}  // namespace
}  // namespace devkit
