#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace idcardreader {

// What the reader reports by itself when, in automatic search, it has found a card.
struct CardNotification {
  std::uint32_t kind;  // 16 identity card, 4 card with a 4-byte UID
  std::vector<std::uint8_t> uid;
};

// Nothing for a report of any other layout.
std::optional<CardNotification> ParseCardNotification(std::span<const std::uint8_t> report);

}  // namespace idcardreader
