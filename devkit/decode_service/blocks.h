#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "card/card.h"

namespace devkit {

// What a client must send for a card, byte for byte.
Bytes DnBlock(const Card& card);
Bytes OutputKeyBlock(const Card& card);
Bytes SectorBlock(const Card& card, std::uint8_t fileId);

// What the service sends for it: the keys that the reader wants next.
Bytes InputKeyAnswer(const Card& card);
Bytes OutputKeyAnswer(const Card& card);

// True for a sector 21 that holds a fingerprint; of any other only its absence is announced.
bool HasFingerprint(const Card& card);

// "bytes 6 to 9 of 42" and the like: where a block differs; empty when it does not.
std::string Difference(ByteView wanted, ByteView got);

}  // namespace devkit
