#include "content/identity_content.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "content/text_block.h"
#include "support/message_fields.h"
#include "support/text.h"

namespace idcardreader {
namespace {

// As hosts are told them.
enum class CardType {
  none,
  resident,
  residence_permit,
  permanent_residence_old,
  permanent_residence_new
};

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

// The service sends at most this many elements; what goes beyond is counted but not kept.
constexpr std::size_t kImageAreaSize = 2330;
using ImageArea = std::array<std::uint8_t, kImageAreaSize>;

constexpr std::size_t kFrameTextBegin = 14;
constexpr std::size_t kFrameTextEnd = 270;
constexpr std::size_t kFramePhotoEnd = 1294;
constexpr std::size_t kFrameTrailerSize = 1295;

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
  } else if (type != CardType::none) {
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

std::vector<std::uint8_t> Part(const ImageArea& area, std::size_t begin, std::size_t end) {
  return {area.begin() + static_cast<std::ptrdiff_t>(begin),
          area.begin() + static_cast<std::ptrdiff_t>(end)};
}

// The first 1024 bytes of the "image", if that has more than so many.
std::vector<std::uint8_t> ReadPhotoBlock(std::string_view text) {
  ImageArea area{};
  const std::uint32_t count = ReadByteArray(text, "image", area.data(), area.size());
  if (count == kArrayNotFound || count <= kPhotoBlockSize) {
    return {};
  }
  return Part(area, 0, kPhotoBlockSize);
}

CardBlocks ReadResidentBlocks(std::string_view text, const CardTexts& card, bool frameFlag) {
  if (!frameFlag) {
    return ReadRawFrame(text);
  }
  const TextBlock block = BuildTextBlock(card);
  return {{block.begin(), block.end()}, ReadPhotoBlock(text), {}};
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

  void AddBlock(ResultItem item, const std::vector<std::uint8_t>& block) {
    if (!block.empty()) {
      Add(item, HexText(block));
    }
  }

 private:
  std::vector<std::pair<ResultItem, std::string>>& entries;
};

void AddResidentEntries(EntryList entries, const CardTexts& card, const CardBlocks& blocks) {
  entries.Add(ResultItem::card_type, "1");
  entries.AddConvertedTexts(card);
  entries.AddDates(card);
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
  entries.AddNationality(GbkOf(card.nationality));
  entries.AddDates(card);
  entries.Add(ResultItem::pass_check_id, card.passCheckId);
  entries.Add(ResultItem::name_english, WithoutSpaces(card.nameEnglish + card.nameEnglishAdd));
  entries.Add(ResultItem::success, "Success");
  if (type != CardType::none) {
    entries.Add(ResultItem::card_type, std::to_string(static_cast<int>(type)));
  }
  entries.AddBlock(ResultItem::photo_block, photo);
}

}  // namespace

CardBlocks ReadRawFrame(std::string_view text) {
  ImageArea area{};
  // The count is compared unsigned: a frame that is missing altogether passes as a frame of zeros.
  const std::uint32_t count = ReadByteArray(text, "data", area.data(), area.size());
  CardBlocks blocks;
  if (count >= kFrameTextEnd) {
    blocks.text = Part(area, kFrameTextBegin, kFrameTextEnd);
  }
  if (count >= kFramePhotoEnd) {
    blocks.photo = Part(area, kFrameTextEnd, kFramePhotoEnd);
  }
  if (count == kFrameTrailerSize + 512 || count == kFrameTrailerSize + 1024) {
    blocks.fingerprint = Part(area, kFramePhotoEnd, count - 1);
  }
  if (blocks.photo.empty()) {
    blocks.photo = ReadPhotoBlock(text);
  }
  return blocks;
}

IdentityContent ParseIdentityContent(std::string_view text, bool contentPresent, bool frameFlag) {
  IdentityContent content;
  CardType type = CardType::none;
  if (contentPresent) {
    const std::string_view typeText = ReadValue(text, "type").value_or(std::string_view());
    const auto row = std::find_if(std::begin(kTypeWords), std::end(kTypeWords), [&](auto& each) {
      return typeText.find(each.word) != std::string_view::npos;
    });
    content.typeKnown = row != std::end(kTypeWords);
    if (!content.typeKnown) {
      return content;
    }
    type = row->type;
    content.resident = type == CardType::resident;
    frameFlag = true;
    // Only the card's own object is searched; without one there is nothing to read.
    text = ReadObject(text, row->objectKey);
  }
  const CardTexts card = ReadTexts(text, type);
  if (content.resident) {
    AddResidentEntries(EntryList(content), card, ReadResidentBlocks(text, card, frameFlag));
  } else {
    AddOtherEntries(EntryList(content), type, card, ReadPhotoBlock(text));
  }
  return content;
}

}  // namespace idcardreader
