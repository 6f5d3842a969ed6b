#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/service_settings.h"
#include "platform/clock.h"
#include "service/card_blocks.h"
#include "service/exchange_sink.h"
#include "service/service_answers.h"
#include "service/service_messages.h"
#include "service/socket_transport.h"

namespace idcardreader {

// The login of this process with the service; it outlives reads and connections.
struct LoginState {
  bool loggedIn = false;
  std::string token;
};

// One exchange with the service: one message sent, its answer received and understood, the outcome
// put into the sink. Lives for the one exchange; nothing of a card stays behind.
class DecodeTransaction {
 public:
  DecodeTransaction(SocketTransport& transport, ExchangeSink& sink, platform::Clock& clock,
                    Dialect dialect, const ServiceIdentity& identity, LoginState& login);

  void Login();
  void InitDecodeChannel();
  void UploadDN(BlockView readerAnswer);
  void UploadOutputKey(BlockView readerAnswer);
  void UploadSector11Data(BlockView fileBytes);
  void UploadSector12Data(BlockView fileBytes);
  void UploadSector13Data(BlockView fileBytes);
  // Ends the read: the content answer follows.
  void UploadSector21Data(BlockView fingerprintArea);

 private:
  struct Codes {
    std::int32_t send;
    std::int32_t receive;
  };

  bool Exchange(std::string_view name, const std::string& message, Codes codes);
  bool UploadBlock(std::string_view name, Upload upload, BlockView plainBlock, Codes codes);
  bool Receive();
  std::string_view Credential() const;

  void ReadKey(KeyKind kind, std::int32_t item, std::int32_t failureCode);
  KeyAnswer ParseDataInputkeyNew(KeyKind kind);
  KeyAnswer ParseDataInputkey(KeyKind kind);

  void ReadContent();
  void ReadIDContent();
  void ReadCompressedContent();
  bool ReceiveCompressedAnswer();
  void ParseIDContent(const std::string& content);
  void Fail(std::int32_t code);

  SocketTransport& transport;
  ExchangeSink& sink;
  platform::Clock& clock;
  const Dialect dialect;
  const ServiceIdentity& identity;
  LoginState& login;
  std::string answerText;
};

}  // namespace idcardreader
