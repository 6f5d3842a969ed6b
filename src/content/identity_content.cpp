#include "content/identity_content.h"

#include <array>

#include "content/text_block.h"
#include "support/message_fields.h"
#include "support/text.h"

namespace idcardreader {
namespace {

struct TypeWord {
  std::string_view word;
  std::string_view objectKey;
  CardType type;
};

// In the order of the search: the first word that the type text contains wins.
constexpr TypeWord kTypeWords[] = {
    {"iden", "idCard", CardType::resident},
    {"gat", "gatCard", CardType::residence_permit},
    {"yjzold", "yjzOldCard", CardType::permanent_residence_old},
    {"yjznew", "yjzNewCard", CardType::permanent_residence_new},
};

constexpr std::size_t kPhotoBlockSize = 1024;

struct CardTexts : ResidentTexts {
  std::string nameEnglish;
  std::string nameEnglishAdd;
  std::string nationality;
  std::string passCheckId;
};

CardTexts ReadTexts(std::string_view text, CardType type) {
  const auto textOf = [text](std::string_view key) {
    return std::string(ReadValue(text, key).value_or(std::string_view()));
  };
  CardTexts card;
  card.sex = textOf("sex");
  card.birthday = textOf("birthday");
  card.idNumber = textOf("id");
  card.startDate = textOf("startDate");
  card.endDate = textOf("endDate");
  card.issuingAuthority = textOf("issue");
  if (type == CardType::resident || type == CardType::residence_permit) {
    card.address = textOf("address");
    card.name = textOf("name");
  } else {
    card.nationality = textOf("nationlity");  // spelled so on the wire
    card.name = textOf("nameChinese");
    card.nameEnglish = textOf("nameEnglish");
  }
  if (type == CardType::resident) {
    card.nation = textOf("nation");
  }
  if (type == CardType::residence_permit) {
    card.passCheckId = textOf("passCheckId");
  }
  if (type == CardType::permanent_residence_new) {
    card.nameEnglishAdd = textOf("nameEnglishAdd");
  }
  return card;
}

std::string WithoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

class EntryList {
 public:
  explicit EntryList(IdentityContent& content) : entries(content.entries) {}

  void Add(ResultItem item, std::string value) { entries.emplace_back(item, std::move(value)); }

  void AddConvertedTexts(const CardTexts& card) {
    Add(ResultItem::id_number, card.idNumber);
    Add(ResultItem::address, WithoutSpaces(GbkOf(card.address)));
    Add(ResultItem::issuing_authority, WithoutSpaces(GbkOf(card.issuingAuthority)));
    Add(ResultItem::name, WithoutSpaces(GbkOf(card.name)));
    Add(ResultItem::nation, GbkOf(card.nation));
    Add(ResultItem::sex, GbkOf(card.sex));
    Add(ResultItem::end_date, GbkOf(card.endDate));
  }

  void AddNationality(const std::string& gbk) {
    const std::size_t slash = gbk.find('/');
    if (slash != std::string::npos) {
      Add(ResultItem::country, gbk.substr(0, slash));
      Add(ResultItem::country_code, gbk.substr(slash + 1));
    }
  }

  void AddDates(const CardTexts& card) {
    Add(ResultItem::start_date, card.startDate);
    Add(ResultItem::birthday, card.birthday);
  }

  // The photo is the first 1024 bytes of the "image", if that has more than so many; false otherwise.
  bool AddPhoto(std::string_view text) {
    std::array<std::uint8_t, kPhotoBlockSize> photo{};
    const std::uint32_t count = ReadByteArray(text, "image", photo.data(), photo.size());
    if (count == kArrayNotFound || count <= photo.size()) {
      return false;
    }
    Add(ResultItem::photo_block, HexText(photo));
    return true;
  }

 private:
  std::vector<std::pair<ResultItem, std::string>>& entries;
};

void AddResidentEntries(EntryList entries, const CardTexts& card, std::string_view text) {
  entries.Add(ResultItem::card_type, "1");
  entries.AddConvertedTexts(card);
  entries.AddDates(card);
  entries.Add(ResultItem::text_block, HexText(BuildTextBlock(card)));
  if (entries.AddPhoto(text)) {
    entries.Add(ResultItem::success, "Success");
  }
}

void AddOtherEntries(EntryList entries, CardType type, const CardTexts& card,
                     std::string_view text) {
  entries.AddConvertedTexts(card);
  entries.AddNationality(GbkOf(card.nationality));
  entries.AddDates(card);
  entries.Add(ResultItem::pass_check_id, card.passCheckId);
  entries.Add(ResultItem::name_english, WithoutSpaces(card.nameEnglish + card.nameEnglishAdd));
  entries.Add(ResultItem::success, "Success");
  entries.Add(ResultItem::card_type, std::to_string(static_cast<int>(type)));
  entries.AddPhoto(text);
}

}  // namespace

IdentityContent ParseIdentityContent(std::string_view text) {
  IdentityContent content;
  const std::string_view typeText = ReadValue(text, "type").value_or(std::string_view());
  for (const TypeWord& row : kTypeWords) {
    if (typeText.find(row.word) != std::string_view::npos) {
      content.type = row.type;
      // Only the card's own object is searched; without one there is nothing to read.
      const std::string_view object = ReadObject(text, row.objectKey);
      const CardTexts card = ReadTexts(object, row.type);
      if (row.type == CardType::resident) {
        AddResidentEntries(EntryList(content), card, object);
      } else {
        AddOtherEntries(EntryList(content), row.type, card, object);
      }
      break;
    }
  }
  return content;
}

}  // namespace idcardreader
