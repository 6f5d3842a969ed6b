#pragma once

#include "card/card.h"
#include "host/shipped_library.h"
#include "support/bytes.h"

namespace hosttest {

// One field of the record: the functions that hand it out, and the service's names for it.
struct FieldRow {
  const char* name;
  decltype(&::GetPeopleName) ShippedLibrary::*pointer;  // null: there is no such function
  decltype(&::GetNewPeopleName) ShippedLibrary::*copy;
  std::vector<std::string> keys;
  enum Part { whole, without_spaces, before_slash, behind_slash } part = whole;
  // Those that hold digits and Latin letters only are handed out as they come.
  bool inGbk = true;

  std::string Expected(const devkit::Card& card) const;
};
const std::vector<FieldRow>& FieldRows();

// The blocks; empty when the card yields none.
devkit::Bytes ExpectedTextBlock(const devkit::Card& card);
devkit::Bytes ExpectedPhoto(const devkit::Card& card);
// A resident card without a photo is no success.
bool ExpectedToSucceed(const devkit::Card& card);

using idcardreader::Gbk;

// Calls every function that hands out a read, at once after it, and compares all that they write and
// leave alone with the card.
void ExpectRecordOf(const devkit::Card& card, const ShippedLibrary& library);
// The fields or the blocks alone.
void ExpectFieldsOf(const devkit::Card& card, const ShippedLibrary& library);
void ExpectBlocksOf(const devkit::Card& card, const ShippedLibrary& library);

// No function hands out anything: neither fields nor blocks.
void ExpectNoFields(const ShippedLibrary& library);
inline void ExpectNoBlocks(const ShippedLibrary& library) { ExpectBlocksOf({}, library); }
inline void ExpectNoRecord(const ShippedLibrary& library) {
  ExpectNoFields(library);
  ExpectNoBlocks(library);
}

}  // namespace hosttest
