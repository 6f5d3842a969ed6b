#include <map>

#include "base/expect.h"
#include "content/identity_content.h"
#include "support/result_items.h"
#include "support/throwing_hard_stop.h"

using namespace idcardreader;
using fuzz::Expect, fuzz::Within;

namespace {

void Check(const IdentityContent& content, std::string_view text) {
  Expect(content.typeKnown || content.entries.empty(), "an unknown type has no entries");
  std::map<ResultItem, std::string> record(content.entries.begin(), content.entries.end());
  const bool whole =
      record.contains(ResultItem::text_block) && record.contains(ResultItem::photo_block);
  Expect(!record.contains(ResultItem::success) || !content.resident || whole,
         "a resident's card is whole");
  Expect(!record.contains(ResultItem::card_type) ||
             (record[ResultItem::card_type] == "1") == content.resident,
         "the card type is the content's");
  const auto hasSize = [&record](ResultItem block, std::size_t size) {
    return !record.contains(block) || record[block].size() == 2 * size;
  };
  Expect(hasSize(ResultItem::text_block, 256) && hasSize(ResultItem::photo_block, 1024),
         "a block has its size");
  for (const auto item : {ResultItem::id_number, ResultItem::birthday, ResultItem::start_date,
                          ResultItem::pass_check_id}) {
    Expect(Within(record[item], text), "a text is the service's");
  }
  for (const auto item : {ResultItem::address, ResultItem::issuing_authority, ResultItem::name,
                          ResultItem::name_english}) {
    Expect(!Within(" ", record[item]), "a name has no spaces");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    Check(ParseIdentityContent(text, true, false), text);
    ReadRawFrame(text);
  } catch (const ThrowingHardStop::Stopped&) {
  }
  return 0;
}
