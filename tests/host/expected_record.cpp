#include "host/expected_record.h"

#include <algorithm>
#include <map>

#include "platform/code_page.h"

namespace hosttest {
namespace {

using devkit::Bytes;
using devkit::Card;
using devkit::CardType;

std::string WithoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

std::string NameField(const Card& card) {
  const bool foreigner = card.type == CardType::yjzold || card.type == CardType::yjznew;
  return card.Field(foreigner ? "nameChinese" : "name");
}

std::string Nationality(const Card& card) { return Gbk(card.Field("nationlity")); }

std::string Name(const Card& card) { return WithoutSpaces(Gbk(NameField(card))); }
std::string Sex(const Card& card) { return Gbk(card.Field("sex")); }
std::string Nation(const Card& card) { return Gbk(card.Field("nation")); }
std::string Birthday(const Card& card) { return card.Field("birthday"); }
std::string Address(const Card& card) { return WithoutSpaces(Gbk(card.Field("address"))); }
std::string IdNumber(const Card& card) { return card.Field("id"); }
std::string StartDate(const Card& card) { return card.Field("startDate"); }
std::string EndDate(const Card& card) { return Gbk(card.Field("endDate")); }
std::string Authority(const Card& card) { return WithoutSpaces(Gbk(card.Field("issue"))); }
std::string PassNumber(const Card& card) { return card.Field("passCheckId"); }

std::string EnglishName(const Card& card) {
  return WithoutSpaces(card.Field("nameEnglish") + card.Field("nameEnglishAdd"));
}

std::string Country(const Card& card) {
  const std::string text = Nationality(card);
  const std::size_t slash = text.find('/');
  return slash == std::string::npos ? "" : text.substr(0, slash);
}

std::string CountryCode(const Card& card) {
  const std::string text = Nationality(card);
  const std::size_t slash = text.find('/');
  return slash == std::string::npos ? "" : text.substr(slash + 1);
}

// The whole value at its place, however long; the next value then overwrites what is too much.
void Write(Bytes& block, std::size_t offset, const std::u16string& text) {
  for (const char16_t unit : text) {
    if (offset + 1 >= block.size()) return;
    block[offset++] = static_cast<std::uint8_t>(unit & 0xFF);
    block[offset++] = static_cast<std::uint8_t>(unit >> 8);
  }
}

using CodeTable = std::map<std::string, std::u16string>;

// The codes of the nations that the devkit's cards have, from the published national standard.
const CodeTable kNationCodes = {{"汉", u"01"},     {"蒙古", u"02"},     {"回", u"03"},
                                {"藏", u"04"},     {"维吾尔", u"05"},   {"苗", u"06"},
                                {"彝", u"07"},     {"壮", u"08"},       {"布依", u"09"},
                                {"朝鲜", u"10"},   {"满", u"11"},       {"侗", u"12"},
                                {"土家", u"15"},   {"哈萨克", u"17"},   {"傣", u"18"},
                                {"纳西", u"27"},   {"柯尔克孜", u"29"}, {"乌孜别克", u"43"},
                                {"鄂温克", u"45"}, {"塔塔尔", u"50"},   {"鄂伦春", u"52"}};
const CodeTable kSexCodes = {{"未知", u"0"}, {"男", u"1"}, {"女", u"2"}, {"未说明", u"9"}};

// A text that the table does not know stands for itself, cut or filled up to a fixed length.
std::u16string CodeOf(const CodeTable& table, const std::string& text,
                      std::size_t lengthOfUnknown) {
  if (const auto found = table.find(text); found != table.end()) return found->second;
  std::u16string own = idcardreader::platform::Utf8ToUtf16(text);
  own.resize(lengthOfUnknown);
  return own;
}

}  // namespace

std::string Gbk(const std::string& utf8) {
  return idcardreader::platform::Utf16ToGbk(idcardreader::platform::Utf8ToUtf16(utf8));
}

const std::vector<FieldRow>& FieldRows() {
  using L = ShippedLibrary;
  static const std::vector<FieldRow> rows = {
      {"name", &L::GetPeopleName, &L::GetNewPeopleName, Name},
      {"sex", &L::GetPeopleSex, &L::GetNewPeopleSex, Sex},
      {"nation", &L::GetPeopleNation, &L::GetNewPeopleNation, Nation},
      {"birthday", &L::GetPeopleBirthday, &L::GetNewPeopleBirthday, Birthday},
      {"address", &L::GetPeopleAddress, &L::GetNewPeopleAddress, Address},
      {"number", &L::GetPeopleIDCode, &L::GetNewPeopleIDCode, IdNumber},
      {"valid from", &L::GetStartDate, &L::GetNewStartDate, StartDate},
      {"valid until", &L::GetEndDate, &L::GetNewEndDate, EndDate},
      {"authority", &L::GetDepartment, &L::GetNewDepartment, Authority},
      {"pass number", nullptr, &L::GetNewPassNum, PassNumber},
      {"English name", nullptr, &L::GetNewPeopleNameEn, EnglishName},
      {"country", nullptr, &L::GetNewPeopleCountry, Country},
      {"country code", nullptr, &L::GetNewPeopleCountryCode, CountryCode}};
  return rows;
}

int ExpectedType(const Card& card) {
  switch (card.type) {
    case CardType::iden:
      return IDCARDREADER_CARD_RESIDENT;
    case CardType::gat:
      return IDCARDREADER_CARD_RESIDENCE_PERMIT;
    case CardType::yjzold:
      return IDCARDREADER_CARD_PERMANENT_OLD;
    case CardType::yjznew:
      return IDCARDREADER_CARD_PERMANENT_NEW;
    default:
      return IDCARDREADER_CARD_NONE;
  }
}

Bytes ExpectedTextBlock(const Card& card) {
  if (card.type != CardType::iden) return {};
  const auto utf16 = [&card](const char* field) {
    return idcardreader::platform::Utf8ToUtf16(card.Field(field));
  };
  Bytes block(IDCARDREADER_TEXT_BLOCK_BYTES);
  Write(block, 0, utf16("name"));
  Write(block, 30, CodeOf(kSexCodes, card.Field("sex"), 2));
  Write(block, 32, CodeOf(kNationCodes, card.Field("nation"), 4));
  Write(block, 36, utf16("birthday"));
  Write(block, 52, utf16("address"));
  Write(block, 122, utf16("id"));
  Write(block, 158, utf16("issue"));
  Write(block, 188, utf16("startDate"));
  Write(block, 204, utf16("endDate"));
  return block;
}

Bytes ExpectedPhoto(const Card& card) {
  if (!card.image || card.image->size() <= IDCARDREADER_PHOTO_BLOCK_BYTES) return {};
  return {card.image->begin(), card.image->begin() + IDCARDREADER_PHOTO_BLOCK_BYTES};
}

bool ExpectedToSucceed(const Card& card) {
  if (!card.IsIdentityCard()) return false;
  return card.type != CardType::iden || !ExpectedPhoto(card).empty();
}

}  // namespace hosttest
