#include "base/encoding.h"
#include "base/expect.h"
#include "service/base64.h"
#include "service/dialect.h"
#include "service/inflate.h"
#include "service/service_messages.h"
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
  const InflateResult inflated = Inflate(decoded);
  fuzz::Expect(inflated.output.size() <= 20 * decoded.size(), "inflating has its limit");
}

void CheckRoundTrip(std::string_view text) {
  const std::string deflated = fuzz::Deflated(text);
  const InflateResult inflated = Inflate(DecodeBase64(fuzz::Base64(deflated)));
  const bool fits = !text.empty() && text.size() <= 20 * deflated.size();
  fuzz::Expect(inflated.Complete() == fits, "all that fits is inflated");
  fuzz::Expect(!fits || inflated.output == text, "the content is what was sent");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ThrowingHardStop throwing;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckDecoding(text);
  CheckRoundTrip(text);
  const LoginAnswer login = ParseLoginAnswer(text);
  fuzz::Expect(fuzz::Within(login.token, text) && fuzz::Within(login.code, text),
               "token and code are the service's");
  fuzz::Expect(!login.accepted || login.token.size() >= 2, "an accepted login has a token");
  for (const KeyKind kind : {KeyKind::input, KeyKind::output}) {
    try {
      CheckKey(TokenDialect().ReadKey(text, kind, {}));
      CheckKey(DeviceCodeDialect().ReadKey(text, kind, {}));
    } catch (const ThrowingHardStop::Stopped&) {
    }
  }
  return 0;
}
