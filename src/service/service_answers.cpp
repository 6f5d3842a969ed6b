#include "service/service_answers.h"

#include <array>

#include "support/field_reader.h"
#include "support/gbk_text.h"
#include "support/message_cipher.h"

namespace idcardreader {
namespace {

constexpr std::string_view kAccepted = "00";
constexpr std::size_t kShortestToken = 2;

// A key block has a few dozen bytes; an answer with more than fits here carries none.
constexpr std::size_t kKeyBlockCapacity = 512;

constexpr std::string_view kTokenExpired = "token已过期";
const GbkText kTokenExpiredGbk("token已过期");

bool IsQuoted(std::string_view text, std::string_view key) {
  const std::size_t position = FindKey(text, key);
  return position < text.size() && text[position] == '"';
}

bool SaysTokenExpired(std::string_view answer) {
  const std::string_view message = ReadValue(answer, "msg").value_or(std::string_view());
  return message.find(kTokenExpired) != std::string_view::npos ||
         message.find(std::string_view(kTokenExpiredGbk)) != std::string_view::npos;
}

Block DecipheredKey(std::string_view answer, KeyKind expected) {
  std::array<std::uint8_t, kKeyBlockCapacity> cipher{};
  const std::uint32_t count = ReadByteArray(answer, "data", cipher.data(), cipher.size());
  if (count > cipher.size()) {
    return {};  // missing, or no key block
  }
  // One byte before the output, where deciphering less than a block looks.
  std::array<std::uint8_t, 1 + kKeyBlockCapacity> plain{};
  const std::int32_t length =
      Decipher(kMessageKey, cipher.data(), static_cast<std::int32_t>(count), plain.data() + 1);
  if (length <= 0) {
    return {};
  }
  return KeyOfBlock(BlockView(plain.data() + 1, static_cast<std::size_t>(length)),
                    static_cast<std::uint8_t>(expected));
}

}  // namespace

LoginAnswer ParseLoginAnswer(std::string_view answer) {
  LoginAnswer login;
  login.code = ReadValue(answer, "code").value_or(std::string_view());
  if (login.code != kAccepted || !IsQuoted(answer, "token")) {
    return login;
  }
  login.token = ReadValue(answer, "token").value_or(std::string_view());
  login.accepted = login.token.size() >= kShortestToken;
  return login;
}

KeyAnswer ParseTokenKeyAnswer(std::string_view answer, KeyKind expected) {
  KeyAnswer result;
  const auto code = ReadValue(answer, "code");
  if (!code) {
    return result;
  }
  if (*code != kAccepted) {
    result.tokenExpired = SaysTokenExpired(answer);
    return result;
  }
  if (ReadValue(answer, "type") == TokenKeyType(expected)) {
    result.key = DecipheredKey(answer, expected);
  }
  return result;
}

KeyAnswer ParseDeviceCodeKeyAnswer(std::string_view answer, KeyKind expected) {
  KeyAnswer result;
  const auto dataType = ReadValue(answer, "dataType");
  if (dataType == "FIRST") {
    result.key = DecipheredKey(answer, expected);
  }
  result.contentHasBegun = dataType == "FIFTH";
  return result;
}

std::string_view TokenKeyType(KeyKind kind) { return kind == KeyKind::input ? "dn" : "BBB2"; }

bool StartsContent(std::string_view answer) {
  constexpr std::string_view kFirstMember = "data";
  return answer.size() >= 2 && answer.substr(2, kFirstMember.size()) == kFirstMember;
}

bool ContentComplete(std::string_view content) {
  const std::size_t fifth = content.find("FIFTH");
  return fifth != std::string_view::npos && content.find("INFO", fifth) != std::string_view::npos;
}

}  // namespace idcardreader
