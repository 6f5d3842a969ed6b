#pragma once

#include <string>
#include <vector>

#include "base/bytes.h"
#include "card/card.h"
#include "host/shipped_library.h"

namespace hosttest {

// One field of the card-holder record: the functions that hand it out and what they must yield for
// a card. The one table that the tests of all interface families share.
struct FieldRow {
  const char* name;
  decltype(&::GetPeopleName) ShippedLibrary::*pointer;  // null: there is no such function
  decltype(&::GetNewPeopleName) ShippedLibrary::*copy;
  std::string (*expected)(const devkit::Card& card);
};
const std::vector<FieldRow>& FieldRows();

// The value of GetNewCardType.
int ExpectedType(const devkit::Card& card);
// The blocks; empty when the card yields none.
devkit::Bytes ExpectedTextBlock(const devkit::Card& card);
devkit::Bytes ExpectedPhoto(const devkit::Card& card);
// A resident card without a photo is no success.
bool ExpectedToSucceed(const devkit::Card& card);

std::string Gbk(const std::string& utf8);

}  // namespace hosttest
