#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/result_items.h"

namespace idcardreader {

enum class CardType {
  unknown,
  resident,
  residence_permit,
  permanent_residence_old,
  permanent_residence_new
};

struct IdentityContent {
  CardType type = CardType::unknown;  // by its type word; there are no entries then
  // The items of the card-holder record in the order in which they are filed; an item that is filed
  // already keeps its first value.
  std::vector<std::pair<ResultItem, std::string>> entries;
};

// Takes the service's content (UTF-8, JSON-like) apart.
IdentityContent ParseIdentityContent(std::string_view text);

}  // namespace idcardreader
