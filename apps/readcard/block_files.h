#pragma once

#include <string>

#include "card_record.h"

namespace readcard {

// Writes the card's blocks into a folder (UTF-8), which is made when it is not there: text.bin,
// photo.wlt and fingerprint.bin. A file of a block that this card lacks is removed, so that the
// folder never mixes two cards. False, and the reason in `complaint`, when that fails.
bool WriteBlockFiles(const std::string& folder, const CardRecord& card, std::string& complaint);

}  // namespace readcard
