#include "service/exchange.h"

#include <algorithm>
#include <iterator>

#include "content/identity_content.h"
#include "support/logs.h"
#include "support/message_fields.h"
#include "support/status_codes.h"

namespace idcardreader {
namespace {

struct Exchange;

struct Row {
  ServiceCommand command;
  std::string_view name;
  int firstStep;  // that the log counts
  int lastStep;
  std::int32_t notSent;
  std::int32_t notReceived;
  // Null where the arrival of an answer is all that counts.
  void (Exchange::*understand)() = nullptr;
  std::int32_t refused = ERRORT_None;
};

struct Exchange {
  const Row& row;
  const Dialect& dialect;
  const ServiceSession& session;
  SocketTransport& transport;
  platform::Clock& clock;
  const Trace& trace;
  std::string answer;
  ExchangeResult result;

  ExchangeResult Perform(BlockView block);
  std::string Message(BlockView block) const;
  void ReadToken();
  void ReadKey();
  void ReadContent();
};

constexpr Row kTable[] = {
    {ServiceCommand::login, "Login", 1, 3, ERRORT_SendLogin, ERRORT_ReceiveLogin,
     &Exchange::ReadToken, ERRORT_ParseToken},
    {ServiceCommand::heartbeat, "InitDecodeChannel", 1, 3, ERRORT_SendHeartbeat,
     ERRORT_ReceiveHeartbeat},
    {ServiceCommand::dn, "UploadDN", 2, 2, ERRORT_SendDn, ERRORT_ReceiveDn, &Exchange::ReadKey,
     ERRORT_ParseInputKey},
    {ServiceCommand::output_key, "UploadOutputKey", 4, 4, ERRORT_SendOutputKey,
     ERRORT_ReceiveOutputKey, &Exchange::ReadKey, ERRORT_ParseOutputKey},
    {ServiceCommand::sector11, "UploadSector11Data", 5, 5, ERRORT_SendSector11,
     ERRORT_ReceiveSector11},
    {ServiceCommand::sector12, "UploadSector12Data", 6, 6, ERRORT_SendSector12,
     ERRORT_ReceiveSector12},
    {ServiceCommand::sector13, "UploadSector13Data", 7, 7, ERRORT_SendSector13,
     ERRORT_ReceiveSector13},
    {ServiceCommand::sector21, "UploadSector21Data", 8, 8, ERRORT_SendSector21,
     ERRORT_ReceiveSector21, &Exchange::ReadContent},
};

ExchangeResult Exchange::Perform(BlockView block) {
  for (int step = row.firstStep; step <= row.lastStep; ++step) {
    trace(std::string(row.name) + " " + std::to_string(step) + " ******");
  }
  const std::string message = Message(block);
  const bool sent = transport.SendData(message);
  trace(std::string(row.name).append(" Send").append(message));
  if (!sent) {
    result.failureCode = row.notSent;
  } else if (!transport.ReceiveData(answer)) {
    result.failureCode = row.notReceived;
  } else {
    trace(std::string(row.name).append(" Read").append(answer));
    if (row.understand != nullptr) {
      (this->*row.understand)();
    }
  }
  return std::move(result);
}

std::string Exchange::Message(BlockView block) const {
  if (row.command == ServiceCommand::login) {
    return LoginMessage(session.identity);
  }
  if (row.command == ServiceCommand::heartbeat) {
    return HeartbeatMessage(session.identity);
  }
  Block plainBlock = UploadBlock(row.command, block);
  if (row.command == ServiceCommand::sector21) {
    const bool uploads = dialect.UploadsEverySector21() || HasFingerprint(block);
    trace(uploads ? "UploadSector21Data Send Finger" : "UploadSector21Data Send NoFinger");
    if (!uploads) {
      plainBlock.clear();
    }
  }
  return dialect.UploadMessage(session, row.command, plainBlock);
}

void Exchange::ReadToken() {
  trace("ParseDataToken 3 ******");
  std::string token = TokenInAnswer(answer);
  if (!token.empty()) {
    result.token = std::move(token);
    return;
  }
  result.failureCode = row.refused;
  const std::string_view code = ReadValue(answer, "code").value_or(std::string_view());
  if (!code.empty() && code != "00") {
    result.detail = std::string("code:").append(code);
  }
  result.answer = answer;
}

void Exchange::ReadKey() {
  const KeyKind kind = row.command == ServiceCommand::dn ? KeyKind::input : KeyKind::output;
  KeyAnswer read = dialect.ReadKey(answer, kind, trace);
  if (read.contentHasBegun) {
    ReadContent();
    return;
  }
  if (read.tokenExpired) {
    result.token.emplace();
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
  trace("ParseIDContent");
  IdentityContent parsed = ParseIdentityContent(content.text, true, dialect.FrameFlag());
  if (parsed.typeKnown) {
    result.entries = std::move(parsed.entries);
    trace(parsed.resident ? "ParseIDContent End" : "ParseIDContent NEW End");
  } else {
    ErrorLog().Log("parse type fail");
  }
  result.entries.emplace_back(ResultItem::done, "Done-Server");
}

}  // namespace

ExchangeResult PerformExchange(ServiceCommand command, BlockView block, const Dialect& dialect,
                               const ServiceSession& session, SocketTransport& transport,
                               platform::Clock& clock, const Trace& trace) {
  if (command == ServiceCommand::login && !session.token.empty()) {
    return {};
  }
  const auto row = std::find_if(std::begin(kTable), std::end(kTable),
                                [command](const Row& each) { return each.command == command; });
  return Exchange{*row, dialect, session, transport, clock, trace}.Perform(block);
}

}  // namespace idcardreader
