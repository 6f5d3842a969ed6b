#include "decode_service/session.h"

#include <algorithm>
#include <array>

#include "base/cipher.h"
#include "base/encoding.h"
#include "decode_service/blocks.h"
#include "decode_service/content.h"
#include "platform/code_page.h"

namespace devkit {
namespace {

constexpr std::array<std::string_view, 6> kUploadOrder = {"dn",        "output-key", "sector-11",
                                                          "sector-12", "sector-13",  "sector-21"};

constexpr std::size_t kDnOffset = 7;
constexpr std::size_t kDnSize = 32;

// A client of the token dialect takes a shorter answer for an acknowledgement and waits on.
constexpr std::size_t kShortestContentAnswer = 201;

std::string_view After(std::string_view upload) {
  const auto found = std::find(kUploadOrder.begin(), kUploadOrder.end(), upload);
  return found + 1 == kUploadOrder.end() ? kUploadOrder.front() : *(found + 1);
}

std::uint8_t FileOf(std::string_view sector) {
  return FromHex(sector.substr(sector.size() - 2)).front();
}

bool IsKey(const ClientMessage& message) {
  return message.exchange == "dn" || message.exchange == "output-key";
}

bool Is(const Fault* fault, FaultKind kind) { return fault != nullptr && fault->kind == kind; }

// The client must have an answer to the last sector before such a content answer fails it: else it
// is the answer to the sector that it misses.
bool NeedsAcknowledgement(FaultKind kind) {
  return kind == FaultKind::acknowledge_first || kind == FaultKind::delay ||
         kind == FaultKind::drop || kind == FaultKind::close || kind == FaultKind::reset;
}

std::string Encoded(const std::string& utf8, TextEncoding encoding) {
  if (encoding == TextEncoding::utf8) return utf8;
  return idcardreader::platform::Utf16ToGbk(idcardreader::platform::Utf8ToUtf16(utf8));
}

// A character in the middle of base64 text becomes another one of the alphabet.
void Corrupt(std::string& text) {
  char& letter = text[text.size() / 2];
  letter = letter == 'A' ? 'B' : 'A';
}

}  // namespace

Session::Session(Registry& sharedRegistry, TextEncoding textEncoding)
    : registry(sharedRegistry), encoding(textEncoding) {}

Reply Session::Handle(const std::string& text) {
  const ClientMessage message = ReadClientMessage(text);
  Reply reply;
  reply.exchange = message.exchange;
  reply.objection = Object(message);
  reply.accepted = reply.objection.empty();
  if (card) reply.card = card->label;

  const Fault* fault = nullptr;
  if (!message.exchange.empty()) {
    fault = registry.NextFault(message.exchange, card.get());
    reply.latency = registry.LatencyOf(message.exchange, card.get());
  }
  if (fault == nullptr && reply.accepted && message.exchange == "sector-21") {
    fault = registry.NextFault("content", card.get());
    if (fault != nullptr && NeedsAcknowledgement(fault->kind)) {
      reply.acknowledgement = Acknowledgement(message);
    }
  }
  if (fault != nullptr) reply.fault = *fault;
  reply.answer =
      reply.accepted ? Answer(message, fault) : Refusal(message, "05", reply.objection, encoding);
  return reply;
}

std::string Session::Object(const ClientMessage& message) {
  if (!message.objection.empty()) {
    next = "dn";
    return message.objection;
  }
  if (message.exchange == "login" || message.exchange == "heartbeat") {
    greeted = true;
    next = "dn";
    return {};
  }
  std::string objection = ObjectToUpload(message);
  // After a wrong block nothing but a new card can succeed.
  next = objection.empty() ? After(message.exchange) : "dn";
  return objection;
}

std::string Session::ObjectToUpload(const ClientMessage& message) {
  if (!greeted) return "neither login nor heartbeat came first";
  if (message.dialect == Dialect::token && !registry.KnowsToken(message.token)) {
    return "token已过期";
  }
  if (message.exchange == "dn") {
    const ByteView block = *message.block;
    card = block.size() >= kDnOffset + kDnSize
               ? registry.FindCard(block.subspan(kDnOffset, kDnSize))
               : nullptr;
    if (!card) return "no card with this DN is known";
  } else if (message.exchange != next) {
    return message.exchange + " came where " + next + " belongs";
  }
  return ObjectToBlock(message);
}

std::string Session::ObjectToBlock(const ClientMessage& message) const {
  if (message.exchange == "dn") return Difference(DnBlock(*card), *message.block);
  if (message.exchange == "output-key") return Difference(OutputKeyBlock(*card), *message.block);
  const bool optional = message.exchange == "sector-21" && message.dialect == Dialect::token;
  if (optional && !HasFingerprint(*card)) {
    return message.block ? "a fingerprint came that the card does not have" : "";
  }
  if (!message.block) return "the card's fingerprint is missing";
  return Difference(SectorBlock(*card, FileOf(message.exchange)), *message.block);
}

std::string Session::Answer(const ClientMessage& message, const Fault* fault) {
  if (Is(fault, FaultKind::refuse)) {
    return Refusal(message, fault->Text("code"), fault->Text("msg"), encoding);
  }
  if (Is(fault, FaultKind::expired_token)) {
    registry.ExpireToken(message.token);
    return Refusal(message, "01", "token已过期",
                   fault->Text("encoding") == "gbk" ? TextEncoding::gbk : TextEncoding::utf8);
  }
  if (message.exchange == "login") {
    const std::string token = Is(fault, FaultKind::short_token) ? "a" : registry.IssueToken();
    return R"({"code":"00","token":")" + token + "\"}";
  }
  if (message.exchange == "heartbeat") return R"({"code":"00","type":"HEARTBEAT"})";
  if (Is(fault, FaultKind::content)) return ContentAnswer(message, nullptr);
  if (IsKey(message)) return KeyAnswer(message, fault);
  if (message.exchange == "sector-21") return ContentAnswer(message, fault);
  return Acknowledgement(message);
}

std::string Session::Refusal(const ClientMessage& message, const std::string& code,
                             const std::string& text, TextEncoding textEncoding) const {
  const std::string member = ",\"msg\":\"" + Encoded(text, textEncoding) + "\"}";
  if (message.dialect == Dialect::device_code)
    return R"({"type":"INFO","dataType":"ERROR")" + member;
  return "{\"code\":\"" + code + "\"" + member;
}

std::string Session::KeyAnswer(const ClientMessage& message, const Fault* fault) const {
  const bool first = message.exchange == "dn";
  Bytes block = first ? InputKeyAnswer(*card) : OutputKeyAnswer(*card);
  if (Is(fault, FaultKind::short_key)) block.resize(18);
  if (Is(fault, FaultKind::wrong_marker)) block[1] = static_cast<std::uint8_t>(block[1] ^ 0x01);
  Bytes enciphered = Encipher(kMessageKey, block);
  if (Is(fault, FaultKind::corrupt)) enciphered[0] = static_cast<std::uint8_t>(enciphered[0] ^ 1);

  std::string answer = message.dialect == Dialect::device_code
                           ? R"({"type":"INFO","dataType":"FIRST")"
                           : R"({"code":"00","type":")" + std::string(first ? "dn" : "BBB2") + "\"";
  if (!Is(fault, FaultKind::no_data)) answer += ",\"data\":" + ByteArrayText(enciphered);
  return answer + "}";
}

std::string Session::ContentAnswer(const ClientMessage& message, const Fault* fault) const {
  std::string content = ContentText(*card);
  if (Is(fault, FaultKind::unknown_type)) {
    content.replace(content.find(card->type), card->type.size(), "unknown");
  }
  const std::string tail = R"("dataType":"FIFTH","type":"INFO")";
  std::string answer;
  if (message.dialect == Dialect::device_code) {
    if (Is(fault, FaultKind::empty)) content = "{}";
    if (Is(fault, FaultKind::corrupt)) content.resize(content.size() / 2);
    return Is(fault, FaultKind::no_data) ? "{" + tail + "}"
                                         : "{\"data\":" + content + "," + tail + "}";
  }
  if (Is(fault, FaultKind::empty)) content.clear();
  Bytes deflated = Deflate(content);
  if (Is(fault, FaultKind::bad_zlib)) deflated = PatternBytes(3, "bad zlib", deflated.size());
  if (Is(fault, FaultKind::cut_zlib)) deflated.resize(deflated.size() / 2);
  std::string data = Base64(deflated);
  if (Is(fault, FaultKind::corrupt)) Corrupt(data);
  answer = Is(fault, FaultKind::no_data) ? "{" + tail : "{\"data\":\"" + data + "\"," + tail;
  if (answer.size() < kShortestContentAnswer) {
    answer += ",\"pad\":\"" + std::string(kShortestContentAnswer, '0') + "\"";
  }
  return answer + "}\n";
}

std::string Session::Acknowledgement(const ClientMessage& message) const {
  if (message.dialect == Dialect::device_code) return R"({"type":"INFO","dataType":"SECOND"})";
  return R"({"code":"00","type":"ack"})";
}

}  // namespace devkit
