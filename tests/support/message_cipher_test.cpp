#include "support/message_cipher.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace idcardreader {
namespace {

struct BlockVector {
  const char* key;
  const char* plain;
  const char* cipher;
};

// Published for the cipher with big-endian words.
constexpr BlockVector kPublished[] = {
    {"00000000000000000000000000000000", "0000000000000000", "41EA3A0A94BAA940"},
    {"00000000000000000000000000000000", "0102030405060708", "6A2F9CF3FCCF3C55"},
    {"0123456712345678234567893456789A", "0000000000000000", "34E943B0900F5DCB"},
    {"0123456712345678234567893456789A", "0102030405060708", "773DC179878A81C0"},
};

TEST(MessageCipher, MatchesThePublishedVectorsBothWays) {
  for (const BlockVector& vector : kPublished) {
    std::vector<std::uint8_t> block(8);
    EncipherBlock(Text(vector.key), Bytes(vector.plain).data(), block.data());
    EXPECT_EQ(block, Bytes(vector.cipher));
    DecipherBlock(Text(vector.key), Bytes(vector.cipher).data(), block.data());
    EXPECT_EQ(block, Bytes(vector.plain));
  }
}

// Under the service's key; the enciphered bytes come from another implementation.
struct BufferVector {
  const char* plain;
  const char* cipher;
};

constexpr BufferVector kBuffers[] = {
    {"", "4080DB66359F64A0"},  // 00 00 00 00 00 00 00 08
    {"414243", "5309D231045684BD"},
    {"41424344454647", "768BF4A07C4604D3"},
    {"4142434445464748", "1C5791CE5DF63FC1 4080DB66359F64A0"},
};

TEST(MessageCipher, PadsEveryBufferByOneToEightBytes) {
  for (const BufferVector& vector : kBuffers) {
    const auto plain = Bytes(vector.plain);
    const auto length = static_cast<std::int32_t>(plain.size());
    std::vector<std::uint8_t> cipher(plain.size() + 8, 0xEE);
    const std::int32_t written = Encipher(kMessageKey, plain.data(), length, cipher.data());
    EXPECT_EQ(written, EncipheredLength(length));
    cipher.resize(static_cast<std::size_t>(written));
    EXPECT_EQ(cipher, Bytes(vector.cipher)) << vector.plain;
  }
}

TEST(MessageCipher, DecipheringUndoesEncipheringForEveryLength) {
  std::vector<std::uint8_t> plain(41);
  std::iota(plain.begin(), plain.end(), std::uint8_t{0xE0});
  for (std::int32_t length = 0; length <= 41; ++length) {
    std::vector<std::uint8_t> cipher(48);
    const std::int32_t enciphered = Encipher(kMessageKey, plain.data(), length, cipher.data());
    std::vector<std::uint8_t> back(48);
    ASSERT_EQ(Decipher(kMessageKey, cipher.data(), enciphered, back.data()), length);
    EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + length, back.begin()));
  }
}

struct PadCase {
  const char* name;
  const char* cipher;
  std::int32_t length;
};

class Decipher_Pad : public testing::TestWithParam<PadCase> {};

TEST_P(Decipher_Pad, IsTakenAsItStands) {
  const auto cipher = Bytes(GetParam().cipher);
  std::vector<std::uint8_t> area(1 + cipher.size() + 8, 0x2A);
  EXPECT_EQ(Decipher(kMessageKey, cipher.data(), static_cast<std::int32_t>(cipher.size()),
                     area.data() + 1),
            GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, Decipher_Pad,
    testing::Values(PadCase{"NoPad", "CEB1C62931642333", 8},              // ends in 0
                    PadCase{"LongerThanABlock", "D42968D5392EB1B3", -1},  // ends in 9
                    PadCase{"LargestPad", "2833DCB8A9F921F6", 8 - 255},
                    PadCase{"LongerThanABlockOfTwo", "1C5791CE5DF63FC1D42968D5392EB1B3", 7},
                    PadCase{"RestOfABlockIsIgnored", "768BF4A07C4604D311223344", 7},
                    // Nothing to decipher: the byte before the output area decides.
                    PadCase{"Nothing", "", -0x2A},
                    PadCase{"LessThanABlock", "11223344556677", -0x2A}),
    [](const auto& pad) { return pad.param.name; });

}  // namespace
}  // namespace idcardreader
