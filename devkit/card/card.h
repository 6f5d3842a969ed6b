#pragma once

#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "fault/fault.h"

namespace devkit {

struct CardFile {
  std::uint8_t id;
  std::uint16_t length;
};
inline constexpr std::array<CardFile, 4> kCardFiles = {
    {{0x11, 214}, {0x12, 256}, {0x13, 1024}, {0x21, 1024}}};

// One card: what its chip holds and what the service knows about its holder.
struct Card {
  std::string label;
  // The word by which the service tells this kind of identity card, the object in its answer that
  // holds the fields, and the number that hosts get; "type-a", without an object, is a card of
  // another kind, of which a reader learns no more than its number.
  std::string type;
  std::string objectName;
  int typeNumber = 0;
  // Names as the service writes them, values in UTF-8, in the order of the file.
  std::vector<std::pair<std::string, std::string>> fields;
  std::string textBlock;  // that a library makes of them, each empty place a "_"
  std::optional<Bytes> image;
  Bytes fingerprint;  // empty, or the bytes at the start of file 0x21

  Bytes uid;        // 8 bytes; of a type A card what it has
  Bytes dn;         // 32 bytes
  Bytes inputKey;   // 8 bytes, deciphered by the service, wanted by the reader
  Bytes outputKey;  // 8 bytes, the same way
  Bytes keyAnswer;  // 62 bytes, the reader's answer to the input key
  std::map<std::uint8_t, Bytes> files;

  Scenario faults;

  bool IsIdentityCard() const { return !objectName.empty(); }
  std::string Field(const std::string& name) const;  // empty when the card has none
};

// Throws FileError.
Card ParseCard(const nlohmann::ordered_json& json, const std::string& label,
               const std::string& where);
Card ReadCardFile(const std::filesystem::path& path);

// All card files (*.json) of a folder in the order of their names, or the one file. Throws
// FileError.
std::vector<Card> ReadCards(const std::filesystem::path& fileOrFolder);

}  // namespace devkit
