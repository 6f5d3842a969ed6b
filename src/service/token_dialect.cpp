#include "platform/process_wide.h"
#include "service/base64.h"
#include "service/dialect.h"
#include "service/inflate.h"
#include "support/logs.h"
#include "support/message_fields.h"
#include "support/status_codes.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr int kLargestReceiveCount = 3;
// A shorter answer to the last sector is only its acknowledgement; the content comes next.
constexpr std::size_t kShortestContentAnswer = 201;

constexpr std::string_view kTokenExpired = "token已过期";
const GbkText kTokenExpiredGbk("token已过期");
const GbkText kContentAnswer("New idCard Read Ori：");

std::string_view TypeOf(Upload upload) {
  switch (upload) {
    case Upload::dn:
      return "dn2";
    case Upload::output_key:
      return "BBB2";
    case Upload::sector11:
      return "BB11";
    case Upload::sector12:
      return "BB12";
    case Upload::sector13:
      return "BB13";
    case Upload::sector21:
      return "BB21";
    case Upload::no_fingerprint:
      return "BB21_2";
  }
  return {};
}

bool SaysTokenExpired(std::string_view answer) {
  const std::string_view message = ReadValue(answer, "msg").value_or(std::string_view());
  return message.find(kTokenExpired) != std::string_view::npos ||
         message.find(std::string_view(kTokenExpiredGbk)) != std::string_view::npos;
}

bool ReceiveContent(std::string& answer, SocketTransport& transport) {
  if (answer.size() < kShortestContentAnswer && transport.ReceiveData(answer) <= 0) {
    return false;
  }
  for (int attempt = 0; attempt < kLargestReceiveCount && answer.find('\n') == std::string::npos;
       ++attempt) {
    std::string more;
    if (transport.ReceiveData(more) <= 0) {
      return false;
    }
    answer += more;
  }
  return true;
}

class Token final : public Dialect {
 public:
  bool NeedsLogin() const override { return true; }
  bool UploadsEverySector21() const override { return false; }

  std::string UploadMessage(const ServiceSession& session, Upload upload,
                            BlockView plainBlock) const override {
    MessageWriter message;
    message.AddString("type", TypeOf(upload));
    message.AddString("token", session.login.token);
    if (upload != Upload::no_fingerprint) {
      const Block cipher = Enciphered(plainBlock);
      message.AddData(cipher.data(), cipher.size());
    }
    return message.Text() + "\n";
  }

  KeyAnswer ReadKey(std::string_view answer, KeyKind expected, const Trace& trace) const override {
    constexpr std::string_view kStep = "ParseDataInputkeyNew 3 ******";
    if (trace) {
      trace(kStep);
    }
    KeyAnswer result;
    const auto code = ReadValue(answer, "code");
    if (code && code != "00") {
      result.tokenExpired = SaysTokenExpired(answer);
    }
    const std::string_view type = expected == KeyKind::input ? "dn" : "BBB2";
    if (code == "00" && ReadValue(answer, "type") == type) {
      result.key = KeyInAnswer(answer, expected);
    }
    if (trace && !result.key.empty()) {
      trace(std::string(kStep).append("   ").append(type));
    }
    return result;
  }

  ContentAnswer ReadContent(std::string answer, SocketTransport& transport,
                            platform::Clock& /*clock*/, const Trace& trace) const override {
    if (!ReceiveContent(answer, transport)) {
      return {ERRORT_ReceiveContent, {}};
    }
    const auto data = ReadValue(answer, "data");
    if (!data) {
      return {ERRORT_ReceiveContent, {}};
    }
    InflateResult inflated = Inflate(DecodeBase64(*data));
    PrintLine("ret=" + std::to_string(inflated.status) +
              ",out_len=" + std::to_string(inflated.output.size()));
    if (trace) {
      trace(std::string(std::string_view(kContentAnswer)).append(answer));
    }
    if (!inflated.Complete()) {
      return {ERRORT_Inflate, {}};
    }
    return {ERRORT_None, std::move(inflated.output)};
  }
};

}  // namespace

const Dialect& TokenDialect() {
  static platform::ProcessWide<Token> dialect;
  return *dialect;
}

}  // namespace idcardreader
