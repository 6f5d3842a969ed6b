#include "card/card.h"

#include <algorithm>

#include "base/cipher.h"
#include "base/json_file.h"

namespace devkit {
namespace {

using Json = nlohmann::ordered_json;

struct TypeRule {
  std::string_view word;
  std::string_view objectName;
  int number;
  std::vector<std::string_view> fields;
};

const std::vector<TypeRule>& TypeRules() {
  static const std::vector<TypeRule>& rules = *new std::vector<TypeRule>{
      {"iden",
       "idCard",
       1,
       {"name", "sex", "nation", "birthday", "address", "id", "issue", "startDate", "endDate"}},
      {"gat",
       "gatCard",
       2,
       {"name", "sex", "birthday", "address", "id", "issue", "startDate", "endDate",
        "passCheckId"}},
      // "nationlity" is what the service writes.
      {"yjzold",
       "yjzOldCard",
       3,
       {"nameChinese", "nameEnglish", "sex", "birthday", "nationlity", "id", "issue", "startDate",
        "endDate"}},
      {"yjznew",
       "yjzNewCard",
       4,
       {"nameChinese", "nameEnglish", "nameEnglishAdd", "sex", "birthday", "nationlity", "id",
        "issue", "startDate", "endDate"}},
      {"type-a", "", 0, {}},
  };
  return rules;
}

const TypeRule& ParseType(const Json& json, const std::string& where) {
  std::vector<std::string_view> words;
  for (const TypeRule& rule : TypeRules()) {
    if (json.contains("type") && json["type"] == rule.word) return rule;
    words.push_back(rule.word);
  }
  Fail(where, "\"type\" is missing or unknown (allowed: " + JoinNames(words) + ")");
}

std::uint64_t WholeNumber(const Json& object, const char* name, std::uint64_t standard,
                          std::uint64_t most, const std::string& where) {
  const auto found = object.find(name);
  if (found == object.end()) return standard;
  if (!found->is_number_unsigned() || found->get<std::uint64_t>() > most) {
    Fail(where,
         "\"" + std::string(name) + "\" must be a whole number from 0 to " + std::to_string(most));
  }
  return found->get<std::uint64_t>();
}

void ParseFields(Card& card, const TypeRule& rule, const Json& json, const std::string& where) {
  if (!json.is_object()) Fail(where, "an object is wanted");
  for (const auto& [name, value] : json.items()) {
    if (std::find(rule.fields.begin(), rule.fields.end(), name) == rule.fields.end()) {
      Fail(where,
           "a card of this type has no \"" + name + "\" (allowed: " + JoinNames(rule.fields) + ")");
    }
    if (!value.is_string()) Fail(where, "\"" + name + "\" must be a text");
    const std::string text = value.get<std::string>();
    // The service's text knows no escapes, and its readers end an object at the first brace.
    if (text.find_first_of("\"\\{}\n\r") != std::string::npos) {
      Fail(where, "\"" + name + "\" must not hold quotes, backslashes, braces or line ends");
    }
    card.fields.emplace_back(name, text);
  }
}

void ParsePhoto(Card& card, const Json& json, const std::string& where) {
  if (json.is_null()) return;
  RequireMembers(json, where, {"seed", "elements"});
  const std::uint64_t seed = WholeNumber(json, "seed", 1, UINT64_MAX, where);
  const std::uint64_t elements = WholeNumber(json, "elements", 1280, 2330, where);
  card.image = PatternBytes(seed, "photo", elements);
}

void ParseFingerprint(Card& card, const Json& json, const std::string& where) {
  if (json.is_null()) return;
  RequireMembers(json, where, {"seed", "bytes", "leadingZeros"});
  const std::uint64_t seed = WholeNumber(json, "seed", 1, UINT64_MAX, where);
  const std::uint64_t count = WholeNumber(json, "bytes", 1024, 1024, where);
  const std::uint64_t zeros = WholeNumber(json, "leadingZeros", 0, 2, where);
  if (count != 512 && count != 1024) Fail(where, "\"bytes\" must be 512 or 1024");
  card.fingerprint = PatternBytes(seed, "fingerprint", count);
  std::fill_n(card.fingerprint.begin(), zeros, std::uint8_t{0});
  // A fingerprint is told from an empty area by its first three bytes.
  card.fingerprint[zeros] |= 1;
}

// File 0x13 whose enciphered block holds nothing but -128, the longest number that a byte can be in
// a message.
void LengthenMessage(Card& card) {
  CipherBlock longest;
  longest.fill(0x80);
  const ByteView key(reinterpret_cast<const std::uint8_t*>(kMessageKey.data()), kMessageKey.size());
  const CipherBlock plain = DecipherBlock(key, longest);
  Bytes& file = card.files[0x13];
  // Two marker bytes stand before the file in its block.
  for (std::size_t i = 6; i < file.size(); ++i) file[i] = plain[(i + 2) % plain.size()];
}

void ParseChip(Card& card, const Json& json, const std::string& where) {
  RequireMembers(json, where,
                 {"seed", "uid", "dn", "inputKey", "outputKey", "keyAnswer", "longMessages"});
  if (!json.contains("seed")) Fail(where, "\"seed\" is missing");
  const std::uint64_t seed = WholeNumber(json, "seed", 0, UINT64_MAX, where);
  const auto bytes = [&](const char* name, std::size_t least, std::size_t most) {
    const auto found = json.find(name);
    if (found == json.end()) return PatternBytes(seed, name, most);
    if (!found->is_string()) Fail(where, "\"" + std::string(name) + "\" must be a text");
    try {
      const Bytes given = FromHex(found->get<std::string>());
      if (given.size() < least || given.size() > most) {
        Fail(where, "\"" + std::string(name) + "\" has the wrong length");
      }
      return given;
    } catch (const std::invalid_argument& error) {
      Fail(where, "\"" + std::string(name) + "\": " + error.what());
    }
  };
  if (!card.IsIdentityCard()) {
    card.uid = json.contains("uid") ? bytes("uid", 1, 10) : PatternBytes(seed, "uid", 4);
    return;
  }
  card.uid = bytes("uid", 8, 8);
  card.dn = bytes("dn", 32, 32);
  card.inputKey = bytes("inputKey", 8, 8);
  card.outputKey = bytes("outputKey", 8, 8);
  card.keyAnswer = bytes("keyAnswer", 62, 62);
  for (const CardFile& file : kCardFiles) {
    card.files[file.id] =
        PatternBytes(seed, "file " + ToHex({&file.id, 1}), std::size_t{file.length});
  }
  Bytes& fingerprintFile = card.files[0x21];
  std::fill(fingerprintFile.begin(), fingerprintFile.end(), std::uint8_t{0});
  std::copy(card.fingerprint.begin(), card.fingerprint.end(), fingerprintFile.begin());
  const auto longMessages = json.find("longMessages");
  if (longMessages != json.end() && *longMessages == true) LengthenMessage(card);
}

}  // namespace

std::string Card::Field(const std::string& name) const {
  for (const auto& [fieldName, value] : fields) {
    if (fieldName == name) return value;
  }
  return {};
}

Card ParseCard(const Json& json, const std::string& label, const std::string& where) {
  RequireMembers(
      json, where,
      {"description", "type", "fields", "textBlock", "photo", "fingerprint", "chip", "faults"});
  Card card;
  card.label = label;
  const TypeRule& rule = ParseType(json, where);
  card.type = rule.word;
  card.objectName = rule.objectName;
  card.typeNumber = rule.number;
  if (json.contains("fields")) ParseFields(card, rule, json["fields"], where + ": fields");
  card.textBlock = json.value("textBlock", "");
  if (json.contains("photo")) ParsePhoto(card, json["photo"], where + ": photo");
  if (json.contains("fingerprint")) {
    ParseFingerprint(card, json["fingerprint"], where + ": fingerprint");
  }
  if (!json.contains("chip")) Fail(where, "\"chip\" is missing");
  ParseChip(card, json["chip"], where + ": chip");
  if (json.contains("faults")) card.faults = ParseScenario(json["faults"], where + ": faults");
  return card;
}

Card ReadCardFile(const std::filesystem::path& path) {
  return ParseCard(ReadJsonFile(path), PathText(path.stem()), PathText(path));
}

std::vector<Card> ReadCards(const std::filesystem::path& fileOrFolder) {
  std::vector<std::filesystem::path> paths;
  std::error_code error;
  if (std::filesystem::is_directory(fileOrFolder, error)) {
    for (const auto& entry : std::filesystem::directory_iterator(fileOrFolder)) {
      if (entry.path().extension() == ".json") paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
  } else {
    paths.push_back(fileOrFolder);
  }
  std::vector<Card> cards;
  cards.reserve(paths.size());
  for (const std::filesystem::path& path : paths) cards.push_back(ReadCardFile(path));
  return cards;
}

}  // namespace devkit
