#include <zlib.h>

#include <new>

#include "platform/process_wide.h"
#include "service/base64.h"
#include "service/dialect.h"
#include "support/logs.h"
#include "support/message_fields.h"
#include "support/status_codes.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr int kLargestReceiveCount = 3;
// A shorter answer to the last sector is only its acknowledgement; the content comes next.
constexpr std::size_t kShortestContentAnswer = 201;
constexpr std::size_t kLargestInflation = 20;  // times its length

constexpr std::string_view kTokenExpired = "token已过期";
const GbkText kTokenExpiredGbk("token已过期");
const GbkText kContentAnswer("New idCard Read Ori：");

// A block is named by its two marker bytes, but for the DN's.
std::string TypeOf(ServiceCommand command, BlockView plainBlock) {
  if (command == ServiceCommand::dn) {
    return "dn2";
  }
  return plainBlock.empty() ? "BB21_2" : HexText(plainBlock.data(), 2);
}

bool SaysTokenExpired(std::string_view answer) {
  const std::string_view message = ReadValue(answer, "msg").value_or(std::string_view());
  return message.find(kTokenExpired) != std::string_view::npos ||
         message.find(std::string_view(kTokenExpiredGbk)) != std::string_view::npos;
}

bool ReceiveContent(std::string& answer, SocketTransport& transport) {
  if (answer.size() < kShortestContentAnswer && !transport.ReceiveData(answer)) {
    return false;
  }
  for (int attempt = 0; attempt < kLargestReceiveCount && answer.find('\n') == std::string::npos;
       ++attempt) {
    std::string more;
    if (!transport.ReceiveData(more)) {
      return false;
    }
    answer += more;
  }
  return true;
}

// zlib keeps some of the content in memory of its own. This library's operator delete overwrites
// what it gives back.
voidpf Allocate(voidpf, uInt count, uInt size) {
  return ::operator new (std::size_t{count} * size, std::nothrow);
}
void Free(voidpf, voidpf memory) { ::operator delete(memory); }

// The status of zlib: Z_STREAM_END (1) alone means that all is there.
int Inflate(const std::vector<std::uint8_t>& compressed, std::string& content) {
  z_stream stream{};
  stream.zalloc = &Allocate;
  stream.zfree = &Free;
  int status = inflateInit(&stream);
  if (status != Z_OK) {
    return status;
  }
  content.resize(compressed.size() * kLargestInflation);
  stream.next_in = const_cast<Bytef*>(compressed.data());  // zlib only reads it
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = reinterpret_cast<Bytef*>(content.data());
  stream.avail_out = static_cast<uInt>(content.size());
  status = inflate(&stream, Z_FINISH);
  content.resize(stream.total_out);
  inflateEnd(&stream);
  return status;
}

class Token final : public Dialect {
 public:
  bool NeedsLogin() const override { return true; }
  bool UploadsEverySector21() const override { return false; }
  bool FrameFlag() const override { return false; }

  std::string UploadMessage(const ServiceSession& session, ServiceCommand command,
                            BlockView plainBlock) const override {
    MessageWriter message;
    message.AddString("type", TypeOf(command, plainBlock));
    message.AddString("token", session.token);
    if (!plainBlock.empty()) {
      const Block cipher = Enciphered(plainBlock);
      message.AddData(cipher.data(), cipher.size());
    }
    return message.Text() + "\n";
  }

  KeyAnswer ReadKey(std::string_view answer, KeyKind expected, const Trace& trace) const override {
    constexpr std::string_view kStep = "ParseDataInputkeyNew 3 ******";
    trace(kStep);
    KeyAnswer result;
    const auto code = ReadValue(answer, "code");
    const std::string_view type = expected == KeyKind::input ? "dn" : "BBB2";
    if (code == "00" && ReadValue(answer, "type") == type) {
      result.key = KeyInAnswer(answer, expected);
    }
    result.tokenExpired = code && code != "00" && SaysTokenExpired(answer);
    if (!result.key.empty()) {
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
    std::string content;
    const int status = Inflate(DecodeBase64(*data), content);
    PrintLine("ret=" + std::to_string(status) + ",out_len=" + std::to_string(content.size()));
    trace(std::string(std::string_view(kContentAnswer)).append(answer));
    if (status != Z_STREAM_END || content.empty()) {
      return {ERRORT_Inflate, {}};
    }
    return {ERRORT_None, std::move(content)};
  }
};

}  // namespace

const Dialect& TokenDialect() {
  static platform::ProcessWide<Token> dialect;
  return *dialect;
}

}  // namespace idcardreader
