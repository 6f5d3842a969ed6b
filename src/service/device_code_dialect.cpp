#include "platform/process_wide.h"
#include "service/dialect.h"
#include "support/message_fields.h"
#include "support/status_codes.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr int kLargestReceiveCount = 3;
constexpr std::uint32_t kContentPauseMs = 5;

const GbkText kContentRead("ReadIDContent Read Sucess！");

bool StartsContent(std::string_view answer) {
  constexpr std::string_view kFirstMember = "data";
  return answer.size() >= 2 && answer.substr(2, kFirstMember.size()) == kFirstMember;
}

bool ContentComplete(std::string_view content) {
  const std::size_t fifth = content.find("FIFTH");
  return fifth != std::string_view::npos && content.find("INFO", fifth) != std::string_view::npos;
}

class DeviceCode final : public Dialect {
 public:
  bool NeedsLogin() const override { return false; }
  bool UploadsEverySector21() const override { return true; }
  bool FrameFlag() const override { return true; }

  std::string UploadMessage(const ServiceSession& session, ServiceCommand command,
                            BlockView plainBlock) const override {
    const Block cipher = Enciphered(plainBlock);
    MessageWriter message;
    message.AddString("sbm", session.identity.deviceCode);
    message.AddString("type", "INFO");
    message.AddString("dataType", command == ServiceCommand::dn ? "NULL" : "FIRST");
    message.AddData(cipher.data(), cipher.size());
    return message.Text();  // without the line feed of the other dialect: the service relies on it
  }

  KeyAnswer ReadKey(std::string_view answer, KeyKind expected, const Trace& trace) const override {
    trace("ParseDataInputkey 3 ******");
    KeyAnswer result;
    const auto dataType = ReadValue(answer, "dataType");
    if (dataType == "FIRST") {
      result.key = KeyInAnswer(answer, expected);
    }
    result.contentHasBegun = dataType == "FIFTH";
    return result;
  }

  ContentAnswer ReadContent(std::string answer, SocketTransport& transport, platform::Clock& clock,
                            const Trace& trace) const override {
    std::string content;
    for (int attempt = 0;; ++attempt) {
      if (StartsContent(answer)) {
        content = answer;
      } else if (attempt > 0) {
        content += answer;
      }
      if (ContentComplete(content)) {
        trace(kContentRead);
        return {ERRORT_None, content};
      }
      if (attempt == kLargestReceiveCount) {
        return {ERRORT_ReceiveContent, {}};
      }
      if (attempt > 0) {
        clock.Sleep(kContentPauseMs);
      }
      transport.ReceiveData(answer);  // leaves it empty when nothing comes
    }
  }
};

}  // namespace

const Dialect& DeviceCodeDialect() {
  static platform::ProcessWide<DeviceCode> dialect;
  return *dialect;
}

}  // namespace idcardreader
