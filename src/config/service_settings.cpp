#include "config/service_settings.h"

#include <charconv>

#include "support/text.h"

namespace idcardreader {
namespace {

// A number that is no port becomes 0, to which nothing connects; cut to 16 bits it could name a
// stranger's service.
std::uint16_t Port(std::string_view text) {
  std::int32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value > 0 && value <= 0xFFFF ? static_cast<std::uint16_t>(value) : std::uint16_t{0};
}

}  // namespace

std::optional<ServerEndpoint> ParseEndpoint(std::string_view text) {
  const auto pieces = SplitText(text, ':');
  if (pieces.size() != 2) {
    return std::nullopt;
  }
  return ServerEndpoint{std::string(pieces[0]), Port(pieces[1])};
}

ServiceIdentity IdentityOf(std::string_view deviceCode) {
  ServiceIdentity identity;
  identity.deviceCode = deviceCode;
  const auto pieces = SplitText(deviceCode, '&');
  if (pieces.size() == 4) {
    identity.applicationId = pieces[0];
    identity.hardwareNumber = pieces[1];
    identity.deviceNumber = pieces[2];
    identity.hardwareVersion = pieces[3];
  }
  return identity;
}

}  // namespace idcardreader
