#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "service/card_blocks.h"

namespace idcardreader {

// What the exchanges of one read have brought, by item number, with the failure codes raised.
// Taking an entry removes it. Not locked: the link guards it.
class EventTable {
 public:
  void Clear();
  // An entry that is there already keeps its first value.
  void File(std::int32_t item, const std::string& text);
  void FileKey(std::int32_t item, const Block& key, const std::string& text);
  void AddFailure(std::int32_t code);

  // Empty when there is none. An item of 100 or more takes the text of the oldest failure instead.
  std::string Take(std::int32_t item);
  // The key bytes with the event; empty when there is none.
  Block TakeKey(std::int32_t item);

 private:
  std::map<std::int32_t, std::string> entries;
  std::map<std::int32_t, Block> keys;
  std::vector<std::int32_t> failureCodes;
};

}  // namespace idcardreader
