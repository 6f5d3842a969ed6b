#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "service/card_blocks.h"

namespace idcardreader {

// The service's answers, taken apart without doing anything about them.

struct LoginAnswer {
  bool accepted = false;
  std::string token;
  std::string code;  // empty when the answer has none
};
LoginAnswer ParseLoginAnswer(std::string_view answer);

// Which of the two keys an answer carries, by the marker in its deciphered block.
enum class KeyKind : std::uint8_t { input = 0xA2, output = 0xA3 };

struct KeyAnswer {
  Block key;  // the 8 key bytes; empty when the answer is refused or malformed
  bool tokenExpired = false;
  bool contentHasBegun = false;  // device-code dialect: the content comes instead of a key
};
KeyAnswer ParseTokenKeyAnswer(std::string_view answer, KeyKind expected);
KeyAnswer ParseDeviceCodeKeyAnswer(std::string_view answer, KeyKind expected);

// The "type" of a token-dialect answer that carries this key.
std::string_view TokenKeyType(KeyKind kind);

// Device-code dialect.
bool StartsContent(std::string_view answer);
bool ContentComplete(std::string_view content);

}  // namespace idcardreader
