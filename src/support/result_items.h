#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace idcardreader {

// What a read brings, by the numbers under which the service's client files it and the log labels
// it: the blocks and fields of the card, then how the read ended.
enum class ResultItem : std::int32_t {
  text_block = 28,
  photo_block = 29,
  fingerprint_block = 30,
  id_number = 32,
  address = 33,
  issuing_authority = 34,
  name = 35,
  nation = 36,
  sex = 37,
  birthday = 38,
  start_date = 39,
  end_date = 40,
  card_type = 41,
  pass_check_id = 42,
  name_english = 43,
  country = 44,
  country_code = 45,
  success = 50,
  fail = 51,
  done = 53,
};

// Whether it belongs to the card, not to the read's end.
constexpr bool OfTheCard(ResultItem item) { return item <= ResultItem::country_code; }

// All that a read has brought.
using IdentityRecord = std::map<ResultItem, std::string>;

// GBK, as long as the library lives.
std::string_view ItemLabel(ResultItem item);

}  // namespace idcardreader
