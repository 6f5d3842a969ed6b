#include "base/encoding.h"
#include "base/expect.h"
#include "service/base64.h"
#include "service/dialect.h"
#include "support/status_codes.h"
#include "support/throwing_hard_stop.h"

using namespace idcardreader;

namespace {

void CheckKey(const KeyAnswer& answer) {
  fuzz::Expect(answer.key.empty() || answer.key.size() == kKeySize, "a key has its size");
  fuzz::Expect(answer.key.empty() || !answer.tokenExpired, "an expired token brings no key");
}

void CheckDecoding(std::string_view text) {
  const auto decoded = DecodeBase64(text);
  const std::string again =
      fuzz::Base64({reinterpret_cast<const char*>(decoded.data()), decoded.size()});
  fuzz::Expect(DecodeBase64(again) == decoded, "what is decoded can be encoded");
}

void CheckRoundTrip(std::string_view text) {
  const std::string deflated = fuzz::Deflated(text);
  const std::string answer =
      R"({"filler":")" + std::string(200, ' ') + R"(","data":")" + fuzz::Base64(deflated) + "\"}\n";
  SocketTransport unused(platform::SystemSockets());
  const ContentAnswer content =
      TokenDialect().ReadContent(answer, unused, platform::SystemClock(), [](std::string_view) {});
  const bool fits = !text.empty() && text.size() <= 20 * deflated.size();
  fuzz::Expect(content.failureCode == (fits ? ERRORT_None : ERRORT_Inflate),
               "all that fits is inflated");
  fuzz::Expect(!fits || content.text == text, "the content is what was sent");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckDecoding(text);
  CheckRoundTrip(text);
  const std::string token = TokenInAnswer(text);
  fuzz::Expect(fuzz::Within(token, text), "the token is the service's");
  fuzz::Expect(token.empty() || token.size() >= 2, "an accepted login has a token");
  for (const KeyKind kind : {KeyKind::input, KeyKind::output}) {
    try {
      CheckKey(TokenDialect().ReadKey(text, kind, [](std::string_view) {}));
      CheckKey(DeviceCodeDialect().ReadKey(text, kind, [](std::string_view) {}));
    } catch (const ThrowingHardStop::Stopped&) {
    }
  }
  return 0;
}
