#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/result_items.h"

namespace idcardreader {

struct IdentityContent {
  // False when a content is there but its type word is none that we know: there are no entries
  // then.
  bool typeKnown = true;
  bool resident = false;
  // The items of the card-holder record in the order in which they are filed; an item that is filed
  // already keeps its first value.
  std::vector<std::pair<ResultItem, std::string>> entries;
};

// The blocks of a raw frame in the "data" array; the photo comes from "image" when the frame has
// none. Which of them are there depends on the frame's length alone.
struct CardBlocks {
  std::vector<std::uint8_t> text;
  std::vector<std::uint8_t> photo;
  std::vector<std::uint8_t> fingerprint;
};
CardBlocks ReadRawFrame(std::string_view text);

// Takes the service's content (UTF-8, JSON-like) apart. contentPresent tells that an answer was
// received at all; only then it has a type. frameFlag, a property of the dialect, chooses between
// texts and raw frame for a resident card; a content that names its type never has a frame.
IdentityContent ParseIdentityContent(std::string_view text, bool contentPresent, bool frameFlag);

}  // namespace idcardreader
