#include "text_block.h"

#include "platform/code_page.h"

namespace readcard {
namespace {

struct Place {
  const char* key;
  const char* label;
  std::size_t offset;
  std::size_t characters;
};

constexpr Place kPlaces[] = {
    {"name", "Name", 0, 15},
    {"sexCode", "Sex code", 30, 1},
    {"nationCode", "Nation code", 32, 2},
    {"birthday", "Date of birth", 36, 8},
    {"address", "Address", 52, 35},
    {"idNumber", "Number", 122, 18},
    {"authority", "Issued by", 158, 15},
    {"validFrom", "Valid from", 188, 8},
    {"validUntil", "Valid until", 204, 8},
};

// Up to the first zero: what is unused is zero.
std::u16string TextAt(const std::vector<std::uint8_t>& block, const Place& place) {
  std::u16string text;
  for (std::size_t i = place.offset; i < place.offset + 2 * place.characters; i += 2) {
    const auto unit = static_cast<char16_t>(block[i] | block[i + 1] << 8);
    if (unit == 0) break;
    text += unit;
  }
  return text;
}

}  // namespace

std::vector<CardField> TextBlockFields(const std::vector<std::uint8_t>& block) {
  std::vector<CardField> fields;
  if (block.size() < IDCARDREADER_TEXT_BLOCK_BYTES) return fields;
  for (const Place& place : kPlaces) {
    fields.push_back(
        {place.key, place.label, idcardreader::platform::Utf16ToUtf8(TextAt(block, place))});
  }
  return fields;
}

}  // namespace readcard
