#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "card/card.h"
#include "content/identity_content.h"
#include "content/text_block.h"
#include "decode_service/content.h"
#include "pieces/piece.h"
#include "support/result_items.h"
#include "support/text.h"

// The peer only takes our field reader's place: what becomes of the fields is our code for both, so
// that the results can be compared to the last byte.

namespace bench {
namespace {

using idcardreader::HexText;
using Entries = std::vector<std::pair<idcardreader::ResultItem, std::string>>;

constexpr std::size_t kPhotoSize = 1024;

struct Fields : idcardreader::ResidentTexts {
  std::vector<std::uint8_t> image;
};

std::string WithoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

Entries EntriesOf(Fields&& fields) {
  const idcardreader::TextBlock block = idcardreader::BuildTextBlock(fields);
  fields.image.resize(kPhotoSize);
  Entries entries;
  entries.emplace_back(idcardreader::ResultItem::card_type, "1");
  entries.emplace_back(idcardreader::ResultItem::id_number, fields.idNumber);
  entries.emplace_back(idcardreader::ResultItem::address,
                       WithoutSpaces(idcardreader::GbkOf(fields.address)));
  entries.emplace_back(idcardreader::ResultItem::issuing_authority,
                       WithoutSpaces(idcardreader::GbkOf(fields.issuingAuthority)));
  entries.emplace_back(idcardreader::ResultItem::name,
                       WithoutSpaces(idcardreader::GbkOf(fields.name)));
  entries.emplace_back(idcardreader::ResultItem::nation, idcardreader::GbkOf(fields.nation));
  entries.emplace_back(idcardreader::ResultItem::sex, idcardreader::GbkOf(fields.sex));
  entries.emplace_back(idcardreader::ResultItem::end_date, idcardreader::GbkOf(fields.endDate));
  entries.emplace_back(idcardreader::ResultItem::start_date, fields.startDate);
  entries.emplace_back(idcardreader::ResultItem::birthday, fields.birthday);
  entries.emplace_back(idcardreader::ResultItem::text_block, HexText(block.data(), block.size()));
  entries.emplace_back(idcardreader::ResultItem::photo_block, HexText(fields.image));
  entries.emplace_back(idcardreader::ResultItem::success, "Success");
  return entries;
}

Entries ParseWithNlohmann(const std::string& content) {
  const nlohmann::json document = nlohmann::json::parse(content);
  if (document.at("type") != "iden") throw std::runtime_error("another type of card");
  const nlohmann::json& card = document.at("idCard");
  const auto text = [&card](const char* key) -> const std::string& {
    return card.at(key).get_ref<const std::string&>();
  };
  Fields fields;
  fields.name = text("name");
  fields.sex = text("sex");
  fields.nation = text("nation");
  fields.birthday = text("birthday");
  fields.address = text("address");
  fields.idNumber = text("id");
  fields.issuingAuthority = text("issue");
  fields.startDate = text("startDate");
  fields.endDate = text("endDate");
  for (const nlohmann::json& element : card.at("image")) {
    fields.image.push_back(static_cast<std::uint8_t>(element.get<int>()));
  }
  return EntriesOf(std::move(fields));
}

}  // namespace

void AddContentPieces() {
  const std::string content = devkit::ContentText(devkit::ReadCardFile(BENCH_CARD));
  Piece<Entries>("content, " + std::to_string(content.size()) + " bytes")
      .By(kOurs,
          [content] { return idcardreader::ParseIdentityContent(content, true, false).entries; })
      .By("nlohmann-json", [content] { return ParseWithNlohmann(content); });
}

}  // namespace bench
