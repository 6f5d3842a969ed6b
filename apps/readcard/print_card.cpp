#include "print_card.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

namespace readcard {
namespace {

constexpr std::size_t kLabelColumns = 15;

std::string Line(std::string_view label, std::string_view value) {
  std::string line(label);
  line.resize(std::max(line.size() + 1, kLabelColumns), ' ');
  return line.append(value).append("\n");
}

std::string Size(const std::vector<std::uint8_t>& block) {
  return block.empty() ? "none" : std::to_string(block.size()) + " bytes";
}

// A field kept as the service sent it may be malformed UTF-8; what cannot be shown is replaced.
std::string Dump(const nlohmann::ordered_json& document) {
  return document.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string Base64(const std::vector<std::uint8_t>& bytes) {
  constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t begin = 0; begin < bytes.size(); begin += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - begin);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? bytes[begin + i] : 0U);
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? kLetters[group >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

}  // namespace

std::string CardText(const CardRecord& card) {
  std::string text;
  if (card.type != IDCARDREADER_CARD_NONE) text += Line("Card type", CardTypeName(card.type));
  for (const CardField& field : card.fields) {
    if (!field.text.empty()) text += Line(field.label, field.text);
  }
  if (card.fields.empty()) {
    text += "This way of reading hands out nothing but blocks, and this card has no text block.\n";
  }
  if (!card.dn.empty()) text += Line("Chip (DN)", card.dn);
  text += Line("Text block", Size(card.text));
  text += Line("Photo", Size(card.photo));
  text += Line("Fingerprint", Size(card.fingerprint));
  return text;
}

std::string FailureText(const Failure& failure) {
  std::string text = "The card was not read";
  if (failure.code) text += " (code " + std::to_string(*failure.code) + ")";
  if (!failure.text.empty()) text += ": " + failure.text;
  return text + "\n" + failure.hint + "\n";
}

std::string CardLine(const CardRecord& card, std::chrono::milliseconds duration) {
  std::string line;
  if (card.type != IDCARDREADER_CARD_NONE) line += std::string(CardTypeName(card.type)) + ", ";
  for (const char* key : {"name", "idNumber"}) {
    if (!card.Field(key).empty()) line += card.Field(key) + ", ";
  }
  return line + std::to_string(duration.count()) + " ms\n";
}

std::string CardJson(const CardRecord& card, std::chrono::milliseconds duration, bool blocks) {
  nlohmann::ordered_json fields = nlohmann::ordered_json::object();
  for (const CardField& field : card.fields) fields[field.key] = field.text;
  nlohmann::ordered_json document = {{"ok", true}};
  if (card.type != IDCARDREADER_CARD_NONE) {
    document["cardType"] = card.type;
    document["cardTypeName"] = CardTypeName(card.type);
  }
  document["fields"] = std::move(fields);
  if (!card.dn.empty()) document["dn"] = card.dn;
  document["blockBytes"] = {{"text", card.text.size()},
                            {"photo", card.photo.size()},
                            {"fingerprint", card.fingerprint.size()}};
  if (blocks) {
    document["blocks"] = {{"text", Base64(card.text)},
                          {"photo", Base64(card.photo)},
                          {"fingerprint", Base64(card.fingerprint)}};
  }
  document["milliseconds"] = duration.count();
  return Dump(document);
}

std::string FailureJson(const Failure& failure, std::optional<std::chrono::milliseconds> duration) {
  nlohmann::ordered_json document = {{"ok", false}, {"code", nullptr}};
  if (failure.code) document["code"] = *failure.code;
  document["error"] = failure.text;
  document["hint"] = failure.hint;
  if (duration) document["milliseconds"] = duration->count();
  return Dump(document);
}

}  // namespace readcard
