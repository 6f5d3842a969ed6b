#include "service/exchange.h"

#include <algorithm>
#include <iterator>

#include "content/identity_content.h"
#include "service/service_messages.h"
#include "support/logs.h"
#include "support/status_codes.h"

namespace idcardreader {
namespace {

class Exchange {
 public:
  struct Row;
  static const Row kTable[];

  Exchange(const Row& row, const Dialect& dialect, const ServiceSession& session,
           SocketTransport& transport, platform::Clock& clock, const Trace& trace)
      : row(row),
        dialect(dialect),
        session(session),
        transport(transport),
        clock(clock),
        trace(trace) {}

  ExchangeResult Perform(BlockView block);

 private:
  std::string Message(Upload upload, const Block& plainBlock) const {
    return dialect.UploadMessage(session, upload, plainBlock);
  }
  std::string LastSectorMessage(BlockView fingerprintArea) const;
  void ReadToken();
  void ReadKey(KeyKind kind);
  void ReadContent();
  void Write(std::string_view text) const;
  void WriteMessage(const char* direction, std::string_view message) const;

  const Row& row;
  const Dialect& dialect;
  const ServiceSession& session;
  SocketTransport& transport;
  platform::Clock& clock;
  const Trace& trace;
  std::string answer;
  ExchangeResult result;
};

struct Exchange::Row {
  ServiceCommand command;
  std::string_view name;
  int firstStep;  // that the log counts
  int lastStep;
  std::int32_t notSent;
  std::int32_t notReceived;
  std::string (*message)(const Exchange& exchange, BlockView block);
  // Null where the arrival of an answer is all that counts.
  void (*understand)(Exchange& exchange) = nullptr;
  std::int32_t refused = ERRORT_None;
};

const Exchange::Row Exchange::kTable[] = {
    {ServiceCommand::login, "Login", 1, 3, ERRORT_SendLogin, ERRORT_ReceiveLogin,
     [](const Exchange& it, BlockView) { return LoginMessage(it.session.identity); },
     [](Exchange& it) { it.ReadToken(); }, ERRORT_ParseToken},
    {ServiceCommand::heartbeat, "InitDecodeChannel", 1, 3, ERRORT_SendHeartbeat,
     ERRORT_ReceiveHeartbeat,
     [](const Exchange& it, BlockView) { return HeartbeatMessage(it.session.identity); }},
    {ServiceCommand::dn, "UploadDN", 2, 2, ERRORT_SendDn, ERRORT_ReceiveDn,
     [](const Exchange& it, BlockView block) { return it.Message(Upload::dn, DnBlock(block)); },
     [](Exchange& it) { it.ReadKey(KeyKind::input); }, ERRORT_ParseInputKey},
    {ServiceCommand::output_key, "UploadOutputKey", 4, 4, ERRORT_SendOutputKey,
     ERRORT_ReceiveOutputKey,
     [](const Exchange& it, BlockView block) {
       return it.Message(Upload::output_key, OutputKeyBlock(block));
     },
     [](Exchange& it) { it.ReadKey(KeyKind::output); }, ERRORT_ParseOutputKey},
    {ServiceCommand::sector11, "UploadSector11Data", 5, 5, ERRORT_SendSector11,
     ERRORT_ReceiveSector11,
     [](const Exchange& it, BlockView block) {
       return it.Message(Upload::sector11, SectorBlock(kFile11, block));
     }},
    {ServiceCommand::sector12, "UploadSector12Data", 6, 6, ERRORT_SendSector12,
     ERRORT_ReceiveSector12,
     [](const Exchange& it, BlockView block) {
       return it.Message(Upload::sector12, SectorBlock(kFile12, block));
     }},
    {ServiceCommand::sector13, "UploadSector13Data", 7, 7, ERRORT_SendSector13,
     ERRORT_ReceiveSector13,
     [](const Exchange& it, BlockView block) {
       return it.Message(Upload::sector13, SectorBlock(kFile13, block));
     }},
    {ServiceCommand::sector21, "UploadSector21Data", 8, 8, ERRORT_SendSector21,
     ERRORT_ReceiveSector21,
     [](const Exchange& it, BlockView block) { return it.LastSectorMessage(block); },
     [](Exchange& it) { it.ReadContent(); }},
};

ExchangeResult Exchange::Perform(BlockView block) {
  for (int step = row.firstStep; trace && step <= row.lastStep; ++step) {
    Write(std::string(row.name) + " " + std::to_string(step) + " ******");
  }
  const std::string message = row.message(*this, block);
  const bool sent = transport.SendData(message.data(), message.size()) > 0;
  WriteMessage(" Send", message);
  if (!sent) {
    result.failureCode = row.notSent;
  } else if (transport.ReceiveData(answer) <= 0) {
    result.failureCode = row.notReceived;
  } else {
    WriteMessage(" Read", answer);
    if (row.understand != nullptr) {
      row.understand(*this);
    }
  }
  return std::move(result);
}

std::string Exchange::LastSectorMessage(BlockView fingerprintArea) const {
  if (dialect.UploadsEverySector21() || HasFingerprint(fingerprintArea)) {
    Write("UploadSector21Data Send Finger");
    return Message(Upload::sector21, SectorBlock(kFile21, fingerprintArea));
  }
  Write("UploadSector21Data Send NoFinger");
  return Message(Upload::no_fingerprint, {});
}

void Exchange::ReadToken() {
  Write("ParseDataToken 3 ******");
  LoginAnswer login = ParseLoginAnswer(answer);
  if (login.accepted) {
    result.login = LoginState{true, std::move(login.token)};
    return;
  }
  result.failureCode = row.refused;
  if (!login.code.empty() && login.code != "00") {
    result.detail = "code:" + login.code;
  }
  result.answer = answer;
}

void Exchange::ReadKey(KeyKind kind) {
  KeyAnswer read = dialect.ReadKey(answer, kind, trace);
  if (read.contentHasBegun) {
    ReadContent();
    return;
  }
  if (read.tokenExpired) {
    result.login = LoginState{false, session.login.token};
  }
  if (read.key.empty()) {
    result.failureCode = row.refused;
    result.answer = answer;
  } else {
    result.key = std::move(read.key);
    result.keyKind = kind;
  }
}

void Exchange::ReadContent() {
  const ContentAnswer content = dialect.ReadContent(std::move(answer), transport, clock, trace);
  if (content.failureCode != ERRORT_None) {
    result.failureCode = content.failureCode;
    return;
  }
  Write("ParseIDContent");
  IdentityContent parsed = ParseIdentityContent(content.text);
  if (parsed.type != CardType::unknown) {
    result.entries = std::move(parsed.entries);
    Write(parsed.type == CardType::resident ? "ParseIDContent End" : "ParseIDContent NEW End");
  } else {
    ErrorLog().Log("parse type fail");
  }
  result.entries.emplace_back(ResultItem::done, "Done-Server");
}

void Exchange::Write(std::string_view text) const {
  if (trace) {
    trace(text);
  }
}

void Exchange::WriteMessage(const char* direction, std::string_view message) const {
  if (trace) {
    trace(std::string(row.name).append(direction).append(message));
  }
}

}  // namespace

ExchangeResult PerformExchange(ServiceCommand command, BlockView block, const Dialect& dialect,
                               const ServiceSession& session, SocketTransport& transport,
                               platform::Clock& clock, const Trace& trace) {
  const auto row = std::find_if(
      std::begin(Exchange::kTable), std::end(Exchange::kTable),
      [command](const Exchange::Row& candidate) { return candidate.command == command; });
  if (row == std::end(Exchange::kTable) ||
      (command == ServiceCommand::login && session.login.loggedIn)) {
    return {};
  }
  return Exchange(*row, dialect, session, transport, clock, trace).Perform(block);
}

}  // namespace idcardreader
