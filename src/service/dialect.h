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

// The login of this process with the service; it outlives reads and connections.
struct LoginState {
  bool loggedIn = false;
  std::string token;
};

// As whom the service is spoken to.
struct ServiceSession {
  ServiceIdentity identity;
  LoginState login;
};

// Writes a line of the activity log; empty while that is off.
using Trace = std::function<void(std::string_view)>;

// The messages that carry a block; the last one says that the card has none for it.
enum class Upload { dn, output_key, sector11, sector12, sector13, sector21, no_fingerprint };

struct KeyAnswer {
  Block key;  // the 8 key bytes; empty when the answer is refused or malformed
  bool tokenExpired = false;
  bool contentHasBegun = false;  // it comes instead of a key
};

struct ContentAnswer {
  std::int32_t failureCode;
  std::string text;  // UTF-8
};

// What one way of speaking with the service has for its own. Login and heartbeat are the same in
// all.
class Dialect {
 public:
  virtual ~Dialect() = default;

  virtual bool NeedsLogin() const = 0;
  // Sector 21 goes out with its data also when the card has no fingerprint.
  virtual bool UploadsEverySector21() const = 0;

  // For one send. A plain block goes out enciphered.
  virtual std::string UploadMessage(const ServiceSession& session, Upload upload,
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
