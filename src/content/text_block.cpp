#include "content/text_block.h"

#include <string_view>

#include "content/code_tables.h"
#include "platform/code_page.h"

namespace idcardreader {
namespace {

constexpr std::size_t kNameOffset = 0;
constexpr std::size_t kSexOffset = 30;
constexpr std::size_t kNationOffset = 32;
constexpr std::size_t kBirthdayOffset = 36;
constexpr std::size_t kAddressOffset = 52;
constexpr std::size_t kIdNumberOffset = 122;
constexpr std::size_t kIssuingAuthorityOffset = 158;
constexpr std::size_t kStartDateOffset = 188;
constexpr std::size_t kEndDateOffset = 204;

constexpr std::size_t kUncodedSexUnits = 2;
constexpr std::size_t kUncodedNationUnits = 4;

// What lies beyond the block is clipped.
void WriteUnits(TextBlock& block, std::size_t offset, std::u16string_view units) {
  for (const char16_t unit : units) {
    if (offset + 2 > block.size()) {
      return;
    }
    block[offset] = static_cast<std::uint8_t>(unit & 0xFF);
    block[offset + 1] = static_cast<std::uint8_t>(unit >> 8);
    offset += 2;
  }
}

void WriteText(TextBlock& block, std::size_t offset, std::string_view utf8) {
  WriteUnits(block, offset, platform::Utf8ToUtf16(utf8));
}

void WriteCode(TextBlock& block, std::size_t offset, std::string_view code, std::string_view text,
               std::size_t uncodedUnits) {
  if (!code.empty()) {
    WriteText(block, offset, code);
    return;
  }
  std::u16string units = platform::Utf8ToUtf16(text);
  units.resize(uncodedUnits);
  WriteUnits(block, offset, units);
}

}  // namespace

TextBlock BuildTextBlock(const ResidentTexts& texts) {
  TextBlock block{};
  WriteText(block, kNameOffset, texts.name);
  WriteCode(block, kSexOffset, SexCode(texts.sex), texts.sex, kUncodedSexUnits);
  WriteCode(block, kNationOffset, NationCode(texts.nation), texts.nation, kUncodedNationUnits);
  WriteText(block, kBirthdayOffset, texts.birthday);
  WriteText(block, kAddressOffset, texts.address);
  WriteText(block, kIdNumberOffset, texts.idNumber);
  WriteText(block, kIssuingAuthorityOffset, texts.issuingAuthority);
  WriteText(block, kStartDateOffset, texts.startDate);
  WriteText(block, kEndDateOffset, texts.endDate);
  return block;
}

}  // namespace idcardreader
