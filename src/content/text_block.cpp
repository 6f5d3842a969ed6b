#include "content/text_block.h"

#include <string_view>

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

struct NamedCode {
  std::string_view name;
  std::string_view code;
};

// The names are matched byte for byte against the service's text.
constexpr NamedCode kSexCodes[] = {{"未知", "0"}, {"男", "1"}, {"女", "2"}, {"未说明", "9"}};

// Row 46 stands as the service spells it.
constexpr NamedCode kNationCodes[] = {
    {"解码错", "00"}, {"汉", "01"},     {"蒙古", "02"},   {"回", "03"},       {"藏", "04"},
    {"维吾尔", "05"}, {"苗", "06"},     {"彝", "07"},     {"壮", "08"},       {"布依", "09"},
    {"朝鲜", "10"},   {"满", "11"},     {"侗", "12"},     {"瑶", "13"},       {"白", "14"},
    {"土家", "15"},   {"哈尼", "16"},   {"哈萨克", "17"}, {"傣", "18"},       {"黎", "19"},
    {"傈僳", "20"},   {"佤", "21"},     {"畲", "22"},     {"高山", "23"},     {"拉祜", "24"},
    {"水", "25"},     {"东乡", "26"},   {"纳西", "27"},   {"景颇", "28"},     {"柯尔克孜", "29"},
    {"土", "30"},     {"达斡尔", "31"}, {"仫佬", "32"},   {"羌", "33"},       {"布朗", "34"},
    {"撒拉", "35"},   {"毛南", "36"},   {"仡佬", "37"},   {"锡伯", "38"},     {"阿昌", "39"},
    {"普米", "40"},   {"塔吉克", "41"}, {"怒", "42"},     {"乌孜别克", "43"}, {"俄罗斯", "44"},
    {"鄂温克", "45"}, {"德昴", "46"},   {"保安", "47"},   {"裕固", "48"},     {"京", "49"},
    {"塔塔尔", "50"}, {"独龙", "51"},   {"鄂伦春", "52"}, {"赫哲", "53"},     {"门巴", "54"},
    {"珞巴", "55"},   {"基诺", "56"},   {"编码错", "57"}, {"其他", "97"},     {"外国血统", "98"},
};

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

template <std::size_t Count>
void WriteCode(TextBlock& block, std::size_t offset, const NamedCode (&table)[Count],
               std::string_view name, std::size_t uncodedUnits) {
  for (const NamedCode& row : table) {
    if (row.name == name) {
      WriteText(block, offset, row.code);
      return;
    }
  }
  std::u16string units = platform::Utf8ToUtf16(name);
  units.resize(uncodedUnits);
  WriteUnits(block, offset, units);
}

}  // namespace

TextBlock BuildTextBlock(const ResidentTexts& texts) {
  TextBlock block{};
  WriteText(block, kNameOffset, texts.name);
  WriteCode(block, kSexOffset, kSexCodes, texts.sex, kUncodedSexUnits);
  WriteCode(block, kNationOffset, kNationCodes, texts.nation, kUncodedNationUnits);
  WriteText(block, kBirthdayOffset, texts.birthday);
  WriteText(block, kAddressOffset, texts.address);
  WriteText(block, kIdNumberOffset, texts.idNumber);
  WriteText(block, kIssuingAuthorityOffset, texts.issuingAuthority);
  WriteText(block, kStartDateOffset, texts.startDate);
  WriteText(block, kEndDateOffset, texts.endDate);
  return block;
}

}  // namespace idcardreader
