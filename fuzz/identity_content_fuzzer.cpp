#include "base/expect.h"
#include "base/script.h"
#include "content/identity_content.h"
#include "support/result_items.h"
#include "support/throwing_hard_stop.h"

using namespace idcardreader;

namespace {

void Check(const IdentityContent& content, std::string_view text) {
  fuzz::Expect(content.typeKnown || content.entries.empty(), "an unknown type has no entries");
  bool text256 = false;
  bool photo = false;
  bool success = false;
  for (const auto& [item, value] : content.entries) {
    switch (item) {
      case ResultItem::id_number:
      case ResultItem::birthday:
      case ResultItem::start_date:
      case ResultItem::pass_check_id:
        fuzz::Expect(fuzz::Within(value, text), "a text is the service's");
        break;
      case ResultItem::address:
      case ResultItem::issuing_authority:
      case ResultItem::name:
      case ResultItem::name_english:
        fuzz::Expect(!fuzz::Within(" ", value), "a name has no spaces");
        break;
      case ResultItem::text_block:
        text256 = value.size() == 2 * 256;
        fuzz::Expect(text256, "a text block has its size");
        break;
      case ResultItem::photo_block:
        photo = value.size() == 2 * 1024;
        fuzz::Expect(photo, "a photo block has its size");
        break;
      case ResultItem::card_type:
        fuzz::Expect((value == "1") == content.resident, "the card type is the content's");
        break;
      case ResultItem::success:
        success = true;
        break;
      default:
        break;
    }
  }
  fuzz::Expect(!success || !content.resident || (text256 && photo), "a resident's card is whole");
}

void Check(const CardBlocks& frame) {
  const auto hasSize = [](const std::vector<std::uint8_t>& block,
                          std::initializer_list<std::size_t> sizes) {
    return block.empty() || std::find(sizes.begin(), sizes.end(), block.size()) != sizes.end();
  };
  fuzz::Expect(hasSize(frame.text, {256}) && hasSize(frame.photo, {1024}) &&
                   hasSize(frame.fingerprint, {512, 1024}),
               "the blocks of a frame have their sizes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  fuzz::Script script(data, size);
  const std::size_t flags = script.Choice(4);
  const std::string text = script.Rest();
  try {
    Check(ParseIdentityContent(text, (flags & 1) == 0, (flags & 2) != 0), text);
    Check(ReadRawFrame(text));
  } catch (const ThrowingHardStop::Stopped&) {
  }
  return 0;
}
