#include "service/card_blocks.h"

#include <algorithm>
#include <initializer_list>

#include "support/message_cipher.h"
#include "support/message_fields.h"

namespace idcardreader {
namespace {

constexpr std::uint8_t kBlockMark = 0xBB;
constexpr std::uint8_t kInputKeyMark = 0xA2;
constexpr std::uint8_t kOutputKeyMark = 0xA3;
// A key block has a few dozen bytes; an answer with more than fits here carries none.
constexpr std::size_t kKeyBlockCapacity = 512;
constexpr std::int32_t kShortestKeyBlock = 19;
constexpr std::size_t kKeyOffset = 10;

void Append(Block& block, std::initializer_list<std::uint8_t> bytes) {
  block.insert(block.end(), bytes);
}

void AppendPart(Block& block, BlockView source, std::size_t begin, std::size_t count) {
  for (std::size_t index = begin; index < begin + count; ++index) {
    block.push_back(index < source.size() ? source[index] : std::uint8_t{0});
  }
}

Block SectorBlock(CardFile file, BlockView fileBytes) {
  Block block{kBlockMark, file.id};
  AppendPart(block, fileBytes, 0, file.length);
  return block;
}

}  // namespace

Block UploadBlock(ServiceCommand command, BlockView readerAnswer) {
  Block block;
  switch (command) {
    case ServiceCommand::dn:
      block = {kBlockMark, 0xAA, 0x01, 0xAA, 0xBB, 0xFF, 0xFF};
      AppendPart(block, readerAnswer, 2, 32);
      Append(block, {0x90, 0x00, 0x00});
      break;
    case ServiceCommand::output_key:
      block = {kBlockMark, 0xB2};
      AppendPart(block, readerAnswer, 2, 8);
      Append(block, {0x90, 0x00, 0x00, 0xFF, 0xFF});
      AppendPart(block, readerAnswer, 10, 8);
      Append(block, {0x90, 0x00, 0x00});
      break;
    case ServiceCommand::sector11:
      return SectorBlock(kFile11, readerAnswer);
    case ServiceCommand::sector12:
      return SectorBlock(kFile12, readerAnswer);
    case ServiceCommand::sector13:
      return SectorBlock(kFile13, readerAnswer);
    case ServiceCommand::sector21:
      return SectorBlock(kFile21, readerAnswer);
    default:
      break;  // the others carry none
  }
  return block;
}

bool HasFingerprint(BlockView fingerprintArea) {
  const BlockView start = fingerprintArea.first(std::min<std::size_t>(3, fingerprintArea.size()));
  return std::any_of(start.begin(), start.end(), [](std::uint8_t byte) { return byte != 0; });
}

Block Enciphered(BlockView plainBlock) {
  const auto length = static_cast<std::int32_t>(plainBlock.size());
  Block cipher(static_cast<std::size_t>(EncipheredLength(length)));
  Encipher(kMessageKey, plainBlock.data(), length, cipher.data());
  return cipher;
}

Block KeyInAnswer(std::string_view answer, KeyKind expected) {
  Block cipher(kKeyBlockCapacity);
  const std::uint32_t count = ReadByteArray(answer, "data", cipher.data(), cipher.size());
  if (count > cipher.size()) {
    return {};  // missing, or no key block
  }
  // One byte before the output, where deciphering less than a block looks.
  Block plain(1 + kKeyBlockCapacity);
  const std::int32_t length =
      Decipher(kMessageKey, cipher.data(), static_cast<std::int32_t>(count), plain.data() + 1);
  if (length < kShortestKeyBlock || plain[1] != kBlockMark ||
      plain[2] != (expected == KeyKind::input ? kInputKeyMark : kOutputKeyMark)) {
    return {};
  }
  const BlockView key = BlockView(plain).subspan(1 + kKeyOffset, kKeySize);
  return {key.begin(), key.end()};
}

}  // namespace idcardreader
