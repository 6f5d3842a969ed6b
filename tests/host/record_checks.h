#pragma once

#include "card/card.h"
#include "host/shipped_library.h"

namespace hosttest {

// Calls every function that hands out a read and compares all that it writes, and what it must
// leave alone, with the card. To be called at once after the read.
void ExpectRecordOf(const devkit::Card& card, const ShippedLibrary& library);
// The fields alone.
void ExpectFieldsOf(const devkit::Card& card, const ShippedLibrary& library);

// No function hands out anything: neither fields nor blocks.
void ExpectNoRecord(const ShippedLibrary& library);
void ExpectNoFields(const ShippedLibrary& library);
void ExpectNoBlocks(const ShippedLibrary& library);

// The blocks that SDT_ReadBaseFPMsg yields; a length of 0 for those that it leaves alone.
struct Blocks {
  int result = 0;
  devkit::Bytes text;
  devkit::Bytes photo;
  devkit::Bytes fingerprint;
};
Blocks FetchBlocks(const ShippedLibrary& library);

}  // namespace hosttest
