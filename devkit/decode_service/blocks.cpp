#include "decode_service/blocks.h"

#include <algorithm>

namespace devkit {
namespace {

void Append(Bytes& block, ByteView bytes) { block.insert(block.end(), bytes.begin(), bytes.end()); }

// The key stands at offset 10 of 20 bytes; the bytes around it are of no meaning to a client.
Bytes KeyAnswer(std::uint8_t marker, const Bytes& key, const Card& card) {
  Bytes block = {0xBB, marker};
  Append(block, PatternBytes(marker, card.label, 8));
  Append(block, key);
  Append(block, Bytes{0x90, 0x00});
  return block;
}

}  // namespace

Bytes DnBlock(const Card& card) {
  Bytes block = {0xBB, 0xAA, 0x01, 0xAA, 0xBB, 0xFF, 0xFF};
  Append(block, card.dn);
  Append(block, Bytes{0x90, 0x00, 0x00});
  return block;
}

Bytes OutputKeyBlock(const Card& card) {
  const ByteView answer = card.keyAnswer;
  Bytes block = {0xBB, 0xB2};
  Append(block, answer.subspan(0, 8));
  Append(block, Bytes{0x90, 0x00, 0x00, 0xFF, 0xFF});
  Append(block, answer.subspan(8, 8));
  Append(block, Bytes{0x90, 0x00, 0x00});
  return block;
}

Bytes SectorBlock(const Card& card, std::uint8_t fileId) {
  Bytes block = {0xBB, fileId};
  Append(block, card.files.at(fileId));
  return block;
}

Bytes InputKeyAnswer(const Card& card) { return KeyAnswer(0xA2, card.inputKey, card); }

Bytes OutputKeyAnswer(const Card& card) { return KeyAnswer(0xA3, card.outputKey, card); }

bool HasFingerprint(const Card& card) {
  const Bytes& file = card.files.at(0x21);
  return file[0] != 0 || file[1] != 0 || file[2] != 0;
}

std::string Difference(ByteView wanted, ByteView got) {
  if (wanted.size() != got.size()) {
    return std::to_string(got.size()) + " bytes instead of " + std::to_string(wanted.size());
  }
  std::size_t first = wanted.size();
  std::size_t last = 0;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i] == got[i]) continue;
    first = std::min(first, i);
    last = i;
  }
  if (first == wanted.size()) return {};
  return "bytes " + std::to_string(first) + " to " + std::to_string(last) + " of " +
         std::to_string(wanted.size()) + " are wrong";
}

}  // namespace devkit
