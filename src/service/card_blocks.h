#pragma once

#include <cstdint>
#include <string_view>

#include "support/card_read.h"

namespace idcardreader {

// What is asked of the service.
enum class ServiceCommand {
  login,
  heartbeat,
  dn,
  output_key,
  sector11,
  sector12,
  sector13,
  sector21
};

// A block of the card as the service expects it: two marker bytes, what the reader has answered,
// and for the DN and the output key some of the service's own. A shorter input stands for zeros
// behind it.
Block UploadBlock(ServiceCommand command, BlockView readerAnswer);

// A card without fingerprints has zeros at the start of the area.
bool HasFingerprint(BlockView fingerprintArea);

// A block as it goes to the service.
Block Enciphered(BlockView plainBlock);

// Which of the two keys for the reader, by number.
enum class KeyKind : std::int32_t { input = 6, output = 7 };

// The 8 key bytes in the block that is an answer's "data"; empty when there is none, or it is too
// short, or it carries another key than expected.
Block KeyInAnswer(std::string_view answer, KeyKind expected);

}  // namespace idcardreader
