#include "service/decode_transaction.h"

#include "content/identity_content.h"
#include "service/base64.h"
#include "service/inflate.h"
#include "support/console.h"
#include "support/field_reader.h"
#include "support/gbk_text.h"
#include "support/status_codes.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr int kLargestReceiveCount = 3;
constexpr std::uint32_t kContentPauseMs = 5;
// A shorter answer to the last sector is only its acknowledgement; the content comes next.
constexpr std::size_t kShortestContentAnswer = 201;

const GbkText kContentRead("ReadIDContent Read Sucess！");
const GbkText kContentAnswer("New idCard Read Ori：");

// Answers end with a line feed, which would tear the log's line in two.
std::string WithoutLineEnd(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
    text.pop_back();
  }
  return text;
}

}  // namespace

DecodeTransaction::DecodeTransaction(SocketTransport& transport, ExchangeSink& sink,
                                     platform::Clock& clock, Dialect dialect,
                                     const ServiceIdentity& identity, LoginState& login)
    : transport(transport),
      sink(sink),
      clock(clock),
      dialect(dialect),
      identity(identity),
      login(login) {}

void DecodeTransaction::Login() {
  if (login.loggedIn) {
    return;
  }
  sink.Trace("Login 1 ******");
  sink.Trace("Login 2 ******");
  const std::string message = LoginMessage(identity);
  sink.Trace("Login 3 ******");
  if (!Exchange("Login", message, {ERRORT_SendLogin, ERRORT_ReceiveLogin})) {
    return;
  }
  sink.Trace("ParseDataToken 3 ******");
  LoginAnswer parsed = ParseLoginAnswer(answerText);
  if (parsed.accepted) {
    login.token = std::move(parsed.token);
    login.loggedIn = true;
    return;
  }
  const bool refused = !parsed.code.empty() && parsed.code != "00";
  sink.ReportFailure(ERRORT_ParseToken, refused ? "code:" + parsed.code : std::string(),
                     answerText);
}

void DecodeTransaction::InitDecodeChannel() {
  sink.Trace("InitDecodeChannel 1 ******");
  sink.Trace("InitDecodeChannel 2 ******");
  const std::string message = HeartbeatMessage(identity);
  sink.Trace("InitDecodeChannel 3 ******");
  Exchange("InitDecodeChannel", message, {ERRORT_SendHeartbeat, ERRORT_ReceiveHeartbeat});
}

void DecodeTransaction::UploadDN(BlockView readerAnswer) {
  sink.Trace("UploadDN 2 ******");
  if (UploadBlock("UploadDN", Upload::dn, DnBlock(readerAnswer),
                  {ERRORT_SendDn, ERRORT_ReceiveDn})) {
    ReadKey(KeyKind::input, kItemInputKey, ERRORT_ParseInputKey);
  }
}

void DecodeTransaction::UploadOutputKey(BlockView readerAnswer) {
  sink.Trace("UploadOutputKey 4 ******");
  if (UploadBlock("UploadOutputKey", Upload::output_key, OutputKeyBlock(readerAnswer),
                  {ERRORT_SendOutputKey, ERRORT_ReceiveOutputKey})) {
    ReadKey(KeyKind::output, kItemOutputKey, ERRORT_ParseOutputKey);
  }
}

void DecodeTransaction::UploadSector11Data(BlockView fileBytes) {
  sink.Trace("UploadSector11Data 5 ******");
  UploadBlock("UploadSector11Data", Upload::sector11, SectorBlock(kFile11, fileBytes),
              {ERRORT_SendSector11, ERRORT_ReceiveSector11});
}

void DecodeTransaction::UploadSector12Data(BlockView fileBytes) {
  sink.Trace("UploadSector12Data 6 ******");
  UploadBlock("UploadSector12Data", Upload::sector12, SectorBlock(kFile12, fileBytes),
              {ERRORT_SendSector12, ERRORT_ReceiveSector12});
}

void DecodeTransaction::UploadSector13Data(BlockView fileBytes) {
  sink.Trace("UploadSector13Data 7 ******");
  UploadBlock("UploadSector13Data", Upload::sector13, SectorBlock(kFile13, fileBytes),
              {ERRORT_SendSector13, ERRORT_ReceiveSector13});
}

void DecodeTransaction::UploadSector21Data(BlockView fingerprintArea) {
  constexpr Codes kCodes{ERRORT_SendSector21, ERRORT_ReceiveSector21};
  sink.Trace("UploadSector21Data 8 ******");
  bool received = false;
  if (dialect == Dialect::device_code || HasFingerprint(fingerprintArea)) {
    sink.Trace("UploadSector21Data Send Finger");
    received = UploadBlock("UploadSector21Data", Upload::sector21,
                           SectorBlock(kFile21, fingerprintArea), kCodes);
  } else {
    sink.Trace("UploadSector21Data Send NoFinger");
    received = Exchange("UploadSector21Data", NoFingerprintMessage(Credential()), kCodes);
  }
  if (received) {
    ReadContent();
  }
}

bool DecodeTransaction::Exchange(std::string_view name, const std::string& message, Codes codes) {
  const bool sent = transport.SendData(message.data(), message.size()) > 0;
  if (sink.Tracing()) {
    sink.Trace(WithoutLineEnd(std::string(name).append(" Send").append(message)));
  }
  if (!sent) {
    Fail(codes.send);
    return false;
  }
  if (!Receive()) {
    Fail(codes.receive);
    return false;
  }
  if (sink.Tracing()) {
    sink.Trace(WithoutLineEnd(std::string(name).append(" Read").append(answerText)));
  }
  return true;
}

bool DecodeTransaction::UploadBlock(std::string_view name, Upload upload, BlockView plainBlock,
                                    Codes codes) {
  return Exchange(name, UploadMessage(dialect, Credential(), upload, plainBlock), codes);
}

bool DecodeTransaction::Receive() { return transport.ReceiveData(answerText) > 0; }

std::string_view DecodeTransaction::Credential() const {
  return dialect == Dialect::token ? login.token : identity.deviceCode;
}

void DecodeTransaction::ReadKey(KeyKind kind, std::int32_t item, std::int32_t failureCode) {
  const KeyAnswer answer =
      dialect == Dialect::token ? ParseDataInputkeyNew(kind) : ParseDataInputkey(kind);
  if (answer.contentHasBegun) {
    ReadIDContent();
  } else if (answer.key.empty()) {
    sink.ReportFailure(failureCode, {}, answerText);
  } else {
    sink.FileKey(item, answer.key);
  }
}

KeyAnswer DecodeTransaction::ParseDataInputkeyNew(KeyKind kind) {
  sink.Trace("ParseDataInputkeyNew 3 ******");
  KeyAnswer answer = ParseTokenKeyAnswer(answerText, kind);
  if (!answer.key.empty()) {
    sink.Trace(std::string("ParseDataInputkeyNew 3 ******   ").append(TokenKeyType(kind)));
  }
  if (answer.tokenExpired) {
    login.loggedIn = false;
  }
  return answer;
}

KeyAnswer DecodeTransaction::ParseDataInputkey(KeyKind kind) {
  sink.Trace("ParseDataInputkey 3 ******");
  return ParseDeviceCodeKeyAnswer(answerText, kind);
}

void DecodeTransaction::ReadContent() {
  if (dialect == Dialect::token) {
    ReadCompressedContent();
  } else {
    ReadIDContent();
  }
}

void DecodeTransaction::ReadIDContent() {
  std::string content;
  for (int attempt = 0;; ++attempt) {
    if (StartsContent(answerText)) {
      content = answerText;
    } else if (attempt > 0) {
      content += answerText;
    }
    if (ContentComplete(content)) {
      sink.Trace(kContentRead);
      ParseIDContent(content);
      return;
    }
    if (attempt == kLargestReceiveCount) {
      Fail(ERRORT_ReceiveContent);
      return;
    }
    if (attempt > 0) {
      clock.Sleep(kContentPauseMs);
    }
    answerText.clear();
    Receive();
  }
}

bool DecodeTransaction::ReceiveCompressedAnswer() {
  if (answerText.size() < kShortestContentAnswer && !Receive()) {
    return false;
  }
  std::string joined = answerText;
  for (int attempt = 0; attempt < kLargestReceiveCount && joined.find('\n') == std::string::npos;
       ++attempt) {
    if (!Receive()) {
      return false;
    }
    joined += answerText;
  }
  answerText = std::move(joined);
  return true;
}

void DecodeTransaction::ReadCompressedContent() {
  if (!ReceiveCompressedAnswer()) {
    Fail(ERRORT_ReceiveContent);
    return;
  }
  const auto data = ReadValue(answerText, "data");
  if (!data) {
    Fail(ERRORT_ReceiveContent);
    return;
  }
  const InflateResult inflated = Inflate(DecodeBase64(*data));
  PrintLine("ret=" + std::to_string(inflated.status) +
            ",out_len=" + std::to_string(inflated.output.size()));
  if (sink.Tracing()) {
    sink.Trace(WithoutLineEnd(std::string(std::string_view(kContentAnswer)) + answerText));
  }
  if (!inflated.Complete()) {
    Fail(ERRORT_Inflate);
    return;
  }
  ParseIDContent(inflated.output);
}

void DecodeTransaction::ParseIDContent(const std::string& content) {
  sink.Trace("ParseIDContent");
  const IdentityContent parsed =
      ParseIdentityContent(content, !content.empty(), dialect == Dialect::device_code);
  if (!parsed.typeKnown) {
    ErrorLog().Log("parse type fail");
  } else {
    sink.FileContent(parsed.entries);
    sink.Trace(parsed.type == CardType::resident ? "ParseIDContent End" : "ParseIDContent NEW End");
  }
  sink.FileDone();
}

void DecodeTransaction::Fail(std::int32_t code) { sink.ReportFailure(code, {}, {}); }

}  // namespace idcardreader
