#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host_library.h"

namespace readcard {

struct CardField {
  const char* key;    // in JSON
  const char* label;  // for people
  std::string text;   // UTF-8, empty when the card has no such field
};

// Everything that a successful read has yielded.
struct CardRecord {
  int type = 0;                     // IDCARDREADER_CARD_*
  std::string dn;                   // the chip's number in hexadecimal digits
  std::vector<CardField> fields;    // all fields, always in the same order
  std::vector<std::uint8_t> text;   // the blocks; empty when the card has none
  std::vector<std::uint8_t> photo;  //
  std::vector<std::uint8_t> fingerprint;

  const std::string& Field(const std::string& key) const;
};

// All of these are to be called at once after a read: the library clears the fields two seconds later.
CardRecord FetchCardRecord(const HostLibrary& library);
// Its parts.
void FetchFields(const HostLibrary& library, CardRecord& record);
void FetchBlocks(const HostLibrary& library, CardRecord& record);
void FetchRawPhoto(const HostLibrary& library, CardRecord& record);

// "resident identity card" and so on.
const char* CardTypeName(int type);

}  // namespace readcard
