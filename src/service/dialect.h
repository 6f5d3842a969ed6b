#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "config/service_settings.h"
#include "platform/clock.h"
#include "service/card_blocks.h"
#include "service/socket_transport.h"

namespace idcardreader {

// The library's version as hosts and the service are told it.
extern const char kSdkVersion[];

// As whom the service is spoken to.
struct ServiceSession {
  ServiceIdentity identity;
  std::string token;  // of the login; empty before it
};

// Writes a line of the activity log.
using Trace = std::function<void(std::string_view)>;

struct KeyAnswer {
  Block key;  // the 8 key bytes; empty when the answer is refused or malformed
  bool tokenExpired = false;
  bool contentHasBegun = false;  // it comes instead of a key
};

struct ContentAnswer {
  std::int32_t failureCode;
  std::string text;  // UTF-8
};

// Login and heartbeat are the same in every dialect, each for one send. The login ends with a line
// feed, the heartbeat does not, and the service relies on that.
std::string LoginMessage(const ServiceIdentity& identity);
std::string HeartbeatMessage(const ServiceIdentity& identity);
// Empty when the login is refused; a token has two characters or more.
std::string TokenInAnswer(std::string_view answer);

// What one way of speaking with the service has for its own.
class Dialect {
 public:
  virtual ~Dialect() = default;

  virtual bool NeedsLogin() const = 0;
  // Sector 21 goes out with its data also when the card has no fingerprint.
  virtual bool UploadsEverySector21() const = 0;

  // The last argument of ParseIdentityContent.
  virtual bool FrameFlag() const = 0;

  // For one send. A plain block goes out enciphered; an empty one says that the card has none.
  virtual std::string UploadMessage(const ServiceSession& session, ServiceCommand command,
                                    BlockView plainBlock) const = 0;
  virtual KeyAnswer ReadKey(std::string_view answer, KeyKind expected,
                            const Trace& trace) const = 0;
  // Receives what is still missing behind the answer to the last sector.
  virtual ContentAnswer ReadContent(std::string answer, SocketTransport& transport,
                                    platform::Clock& clock, const Trace& trace) const = 0;
};

// Every message carries the token of the login.
const Dialect& TokenDialect();
// No login; every message carries the device code.
const Dialect& DeviceCodeDialect();

}  // namespace idcardreader
