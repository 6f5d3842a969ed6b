#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/result_items.h"

namespace idcardreader {

enum class CardType {
  none,
  resident,
  residence_permit,
  permanent_residence_old,
  permanent_residence_new
};

struct IdentityContent {
  // False when a content is there but its type word is none that we know: there are no entries
  // then.
  bool typeKnown = true;
  CardType type = CardType::none;
  // The items of the card-holder record in the order in which they are filed; an item that is filed
  // already keeps its first value.
  std::vector<std::pair<ResultItem, std::string>> entries;
};

// Takes the service's content (UTF-8, JSON-like) apart. contentPresent tells that an answer was
// received at all; only then it has a type. frameFlag chooses, for a resident card without a type
// dispatch, between the texts and a raw frame.
IdentityContent ParseIdentityContent(std::string_view text, bool contentPresent, bool frameFlag);

}  // namespace idcardreader
