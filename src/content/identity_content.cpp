#include "content/identity_content.h"

#include <algorithm>
#include <array>

#include "content/image_area.h"
#include "content/text_block.h"
#include "platform/code_page.h"
#include "support/field_reader.h"
#include "support/hex_text.h"
#include "support/result_items.h"

namespace idcardreader {
namespace {

struct TypeWord {
  std::string_view word;
  std::string_view objectKey;
  CardType type;
};

// In the order of the search: the first word that the type text contains wins.
constexpr std::array<TypeWord, 4> kTypeWords = {{
    {"iden", "idCard", CardType::resident},
    {"gat", "gatCard", CardType::residence_permit},
    {"yjzold", "yjzOldCard", CardType::permanent_residence_old},
    {"yjznew", "yjzNewCard", CardType::permanent_residence_new},
}};

constexpr std::size_t kShortestTypeText = 2;

struct CardTexts : ResidentTexts {
  std::string nameEnglish;
  std::string nameEnglishAdd;
  std::string nationality;
  std::string passCheckId;
};

const TypeWord* FindTypeWord(std::string_view text) {
  const auto typeText = ReadValue(text, "type");
  if (!typeText || typeText->size() < kShortestTypeText) {
    return nullptr;
  }
  const auto found =
      std::find_if(kTypeWords.begin(), kTypeWords.end(), [&typeText](const TypeWord& candidate) {
        return typeText->find(candidate.word) != std::string_view::npos;
      });
  return found == kTypeWords.end() ? nullptr : &*found;
}

std::string TextOf(std::string_view text, std::string_view key) {
  return std::string(ReadValue(text, key).value_or(std::string_view()));
}

CardTexts ReadTexts(std::string_view text, CardType type) {
  CardTexts card;
  card.sex = TextOf(text, "sex");
  card.birthday = TextOf(text, "birthday");
  card.idNumber = TextOf(text, "id");
  card.startDate = TextOf(text, "startDate");
  card.endDate = TextOf(text, "endDate");
  card.issuingAuthority = TextOf(text, "issue");
  if (type == CardType::resident || type == CardType::residence_permit) {
    card.address = TextOf(text, "address");
    card.name = TextOf(text, "name");
  }
  if (type == CardType::resident) {
    card.nation = TextOf(text, "nation");
  }
  if (type == CardType::residence_permit) {
    card.passCheckId = TextOf(text, "passCheckId");
  }
  if (type == CardType::permanent_residence_old || type == CardType::permanent_residence_new) {
    card.nationality = TextOf(text, "nationlity");  // spelled so on the wire
    card.name = TextOf(text, "nameChinese");
    card.nameEnglish = TextOf(text, "nameEnglish");
  }
  if (type == CardType::permanent_residence_new) {
    card.nameEnglishAdd = TextOf(text, "nameEnglishAdd");
  }
  return card;
}

CardBlocks ReadResidentBlocks(std::string_view text, const CardTexts& card, bool frameFlag) {
  if (!frameFlag) {
    return ReadRawFrame(text);
  }
  const TextBlock textBlock = BuildTextBlock(card);
  CardBlocks blocks;
  blocks.text.assign(textBlock.begin(), textBlock.end());
  blocks.photo = ReadPhotoBlock(text);
  return blocks;
}

std::string Gbk(std::string_view utf8) { return platform::Utf16ToGbk(platform::Utf8ToUtf16(utf8)); }

std::string WithoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

class EntryList {
 public:
  explicit EntryList(IdentityContent& content) : entries(content.entries) {}

  void Add(ResultItem item, std::string value) { entries.emplace_back(item, std::move(value)); }

  void AddBlock(ResultItem item, const std::vector<std::uint8_t>& block) {
    if (!block.empty()) {
      Add(item, HexText(block));
    }
  }

  void AddConvertedTexts(const CardTexts& card) {
    Add(ResultItem::id_number, card.idNumber);
    Add(ResultItem::address, WithoutSpaces(Gbk(card.address)));
    Add(ResultItem::issuing_authority, WithoutSpaces(Gbk(card.issuingAuthority)));
    Add(ResultItem::name, WithoutSpaces(Gbk(card.name)));
    Add(ResultItem::nation, Gbk(card.nation));
    Add(ResultItem::sex, Gbk(card.sex));
    Add(ResultItem::end_date, Gbk(card.endDate));
  }

  void AddNationality(const std::string& gbk) {
    const std::size_t slash = gbk.find('/');
    if (slash != std::string::npos) {
      Add(ResultItem::country, gbk.substr(0, slash));
      Add(ResultItem::country_code, gbk.substr(slash + 1));
    }
  }

 private:
  std::vector<std::pair<ResultItem, std::string>>& entries;
};

void AddResidentEntries(EntryList entries, const CardTexts& card, const CardBlocks& blocks) {
  entries.Add(ResultItem::card_type, "1");
  entries.AddConvertedTexts(card);
  entries.Add(ResultItem::start_date, card.startDate);
  entries.Add(ResultItem::birthday, card.birthday);
  entries.AddBlock(ResultItem::text_block, blocks.text);
  entries.AddBlock(ResultItem::photo_block, blocks.photo);
  entries.AddBlock(ResultItem::fingerprint_block, blocks.fingerprint);
  if (!blocks.text.empty() && !blocks.photo.empty()) {
    entries.Add(ResultItem::success, "Success");
  }
}

void AddOtherEntries(EntryList entries, CardType type, const CardTexts& card,
                     const std::vector<std::uint8_t>& photo) {
  entries.AddConvertedTexts(card);
  entries.AddNationality(Gbk(card.nationality));
  entries.Add(ResultItem::start_date, card.startDate);
  entries.Add(ResultItem::birthday, card.birthday);
  entries.Add(ResultItem::pass_check_id, card.passCheckId);
  entries.Add(ResultItem::name_english, WithoutSpaces(card.nameEnglish + card.nameEnglishAdd));
  entries.Add(ResultItem::success, "Success");
  if (type != CardType::none) {
    entries.Add(ResultItem::card_type, std::to_string(static_cast<int>(type)));
  }
  entries.AddBlock(ResultItem::photo_block, photo);
}

}  // namespace

IdentityContent ParseIdentityContent(std::string_view text, bool contentPresent, bool frameFlag) {
  IdentityContent content;
  std::string cardObject;
  if (contentPresent) {
    frameFlag = true;
    const TypeWord* typeWord = FindTypeWord(text);
    if (typeWord == nullptr) {
      content.typeKnown = false;
      return content;
    }
    content.type = typeWord->type;
    // Only the card's own object is searched from here on; without one there is nothing to read.
    ReadObject(text, typeWord->objectKey, cardObject);
    text = cardObject;
  }
  const CardTexts card = ReadTexts(text, content.type);
  if (content.type == CardType::resident) {
    AddResidentEntries(EntryList(content), card, ReadResidentBlocks(text, card, frameFlag));
  } else {
    AddOtherEntries(EntryList(content), content.type, card, ReadPhotoBlock(text));
  }
  return content;
}

}  // namespace idcardreader
