#include <simdjson.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "card/card.h"
#include "content/identity_content.h"
#include "content/text_block.h"
#include "decode_service/content.h"
#include "pieces/piece.h"
#include "platform/code_page.h"
#include "support/result_items.h"
#include "support/text.h"

// The peers only take our field reader's place: what becomes of the fields is our code for everybody,
// so that the results can be compared to the last byte.

namespace bench {
namespace {

using idcardreader::HexText;
using Entries = std::vector<std::pair<idcardreader::ResultItem, std::string>>;

constexpr std::size_t kPhotoSize = 1024;

struct Fields : idcardreader::ResidentTexts {
  std::vector<std::uint8_t> image;
};

std::string Gbk(std::string_view utf8) {
  using namespace idcardreader::platform;
  return Utf16ToGbk(Utf8ToUtf16(utf8));
}

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
  entries.emplace_back(idcardreader::ResultItem::address, WithoutSpaces(Gbk(fields.address)));
  entries.emplace_back(idcardreader::ResultItem::issuing_authority,
                       WithoutSpaces(Gbk(fields.issuingAuthority)));
  entries.emplace_back(idcardreader::ResultItem::name, WithoutSpaces(Gbk(fields.name)));
  entries.emplace_back(idcardreader::ResultItem::nation, Gbk(fields.nation));
  entries.emplace_back(idcardreader::ResultItem::sex, Gbk(fields.sex));
  entries.emplace_back(idcardreader::ResultItem::end_date, Gbk(fields.endDate));
  entries.emplace_back(idcardreader::ResultItem::start_date, fields.startDate);
  entries.emplace_back(idcardreader::ResultItem::birthday, fields.birthday);
  entries.emplace_back(idcardreader::ResultItem::text_block, HexText(block.data(), block.size()));
  entries.emplace_back(idcardreader::ResultItem::photo_block, HexText(fields.image));
  entries.emplace_back(idcardreader::ResultItem::success, "Success");
  return entries;
}

// Text(object, key) reads one field.
template <typename Object, typename Text>
void ReadTexts(Fields& fields, Object& object, const Text& text) {
  text(object, "name", fields.name);
  text(object, "sex", fields.sex);
  text(object, "nation", fields.nation);
  text(object, "birthday", fields.birthday);
  text(object, "address", fields.address);
  text(object, "id", fields.idNumber);
  text(object, "issue", fields.issuingAuthority);
  text(object, "startDate", fields.startDate);
  text(object, "endDate", fields.endDate);
}

Entries ParseWithNlohmann(const std::string& content) {
  const nlohmann::json document = nlohmann::json::parse(content);
  if (document.at("type") != "iden") throw std::runtime_error("another type of card");
  const nlohmann::json& card = document.at("idCard");
  Fields fields;
  ReadTexts(fields, card, [](const nlohmann::json& object, const char* key, std::string& value) {
    value = object.at(key).get_ref<const std::string&>();
  });
  for (const nlohmann::json& element : card.at("image")) {
    fields.image.push_back(static_cast<std::uint8_t>(element.get<int>()));
  }
  return EntriesOf(std::move(fields));
}

// With its parser and the room behind the text that it asks for at hand already.
Entries ParseWithSimdjson(simdjson::ondemand::parser& parser,
                          const simdjson::padded_string& content) {
  using simdjson::ondemand::object;
  auto document = parser.iterate(content);
  if (std::string_view(document["type"]) != "iden") {
    throw std::runtime_error("another type of card");
  }
  object card = document["idCard"];
  Fields fields;
  ReadTexts(fields, card, [](object& from, const char* key, std::string& value) {
    value = std::string_view(from[key]);
  });
  for (auto element : card["image"]) {
    fields.image.push_back(static_cast<std::uint8_t>(std::int64_t(element)));
  }
  return EntriesOf(std::move(fields));
}

}  // namespace

void AddContentPieces() {
  const std::string content = devkit::ContentText(devkit::ReadCardFile(BENCH_CARD));
  const auto parser = std::make_shared<simdjson::ondemand::parser>();
  const auto padded = std::make_shared<simdjson::padded_string>(content);
  Piece<Entries>("content, " + std::to_string(content.size()) + " bytes")
      .By(kOurs, [content] { return idcardreader::ParseIdentityContent(content).entries; })
      .By("nlohmann-json", [content] { return ParseWithNlohmann(content); })
      .By("simdjson", [parser, padded] { return ParseWithSimdjson(*parser, *padded); });
}

}  // namespace bench
