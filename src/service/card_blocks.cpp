#include "service/card_blocks.h"

#include <algorithm>
#include <initializer_list>

namespace idcardreader {
namespace {

constexpr std::uint8_t kBlockMark = 0xBB;
constexpr std::size_t kShortestKeyBlock = 19;
constexpr std::size_t kKeyOffset = 10;

void Append(Block& block, std::initializer_list<std::uint8_t> bytes) {
  block.insert(block.end(), bytes);
}

void AppendPart(Block& block, BlockView source, std::size_t begin, std::size_t count) {
  for (std::size_t index = begin; index < begin + count; ++index) {
    block.push_back(index < source.size() ? source[index] : std::uint8_t{0});
  }
}

}  // namespace

Block DnBlock(BlockView readerAnswer) {
  Block block;
  Append(block, {kBlockMark, 0xAA, 0x01, 0xAA, 0xBB, 0xFF, 0xFF});
  AppendPart(block, readerAnswer, 2, 32);
  Append(block, {0x90, 0x00, 0x00});
  return block;
}

Block OutputKeyBlock(BlockView readerAnswer) {
  Block block;
  Append(block, {kBlockMark, 0xB2});
  AppendPart(block, readerAnswer, 2, 8);
  Append(block, {0x90, 0x00, 0x00, 0xFF, 0xFF});
  AppendPart(block, readerAnswer, 10, 8);
  Append(block, {0x90, 0x00, 0x00});
  return block;
}

Block SectorBlock(CardFile file, BlockView fileBytes) {
  Block block;
  block.reserve(2U + file.length);
  Append(block, {kBlockMark, file.id});
  AppendPart(block, fileBytes, 0, file.length);
  return block;
}

bool HasFingerprint(BlockView fingerprintArea) {
  const BlockView start = fingerprintArea.first(std::min<std::size_t>(3, fingerprintArea.size()));
  return std::any_of(start.begin(), start.end(), [](std::uint8_t byte) { return byte != 0; });
}

Block KeyOfBlock(BlockView keyBlock, std::uint8_t marker) {
  if (keyBlock.size() < kShortestKeyBlock || keyBlock[0] != kBlockMark || keyBlock[1] != marker) {
    return {};
  }
  const BlockView key = keyBlock.subspan(kKeyOffset, kKeySize);
  return {key.begin(), key.end()};
}

}  // namespace idcardreader
