#include "config/service_settings.h"

#include <charconv>
#include <optional>

#include "support/text.h"

namespace idcardreader {
namespace {

constexpr std::uint32_t kDefaultSocketTimeoutMs = 1000;

std::int32_t Decimal(std::string_view text) {
  std::int32_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// A number that is no port becomes 0, to which nothing connects; cut to 16 bits it could name a
// stranger's service.
std::uint16_t Port(std::string_view text) {
  const std::int32_t value = Decimal(text);
  return value > 0 && value <= 0xFFFF ? static_cast<std::uint16_t>(value) : std::uint16_t{0};
}

std::optional<ServerEndpoint> AddressAndPort(std::string_view text) {
  const std::size_t lastDot = text.rfind('.');
  if (SplitText(text, '.').size() < 3) {
    return std::nullopt;
  }
  return ServerEndpoint{std::string(text.substr(0, lastDot)), Port(text.substr(lastDot + 1))};
}

std::optional<ServerEndpoint> HostAndPort(std::string_view text) {
  const auto pieces = SplitText(text, '*');
  if (pieces.size() != 2) {
    return std::nullopt;
  }
  return ServerEndpoint{std::string(pieces[0]), Port(pieces[1])};
}

void Append(std::vector<ServerEndpoint>& servers, std::optional<ServerEndpoint> endpoint) {
  if (endpoint) {
    servers.push_back(std::move(*endpoint));
  }
}

void SetDeviceCode(ServiceIdentity& identity, std::string_view text) {
  identity.deviceCode = text;
  const auto pieces = SplitText(text, '&');
  if (pieces.size() == 4) {
    identity.applicationId = pieces[0];
    identity.hardwareNumber = pieces[1];
    identity.deviceNumber = pieces[2];
    identity.hardwareVersion = pieces[3];
  }
}

}  // namespace

void ServiceSettings::Apply(LinkSetting setting, std::string_view text) {
  switch (setting) {
    case LinkSetting::server1:
    case LinkSetting::server2:
      Append(resolvedServers, AddressAndPort(text));
      break;
    case LinkSetting::host1:
    case LinkSetting::host2:
      if (resolvedServers.empty()) {
        Append(configuredServers, HostAndPort(text));
      }
      break;
    case LinkSetting::socket_timeout:
      socketTimeoutMs = Decimal(text);
      break;
    case LinkSetting::device_code:
      SetDeviceCode(identity, text);
      break;
    case LinkSetting::log_switch:
      break;  // the link's own
  }
}

std::uint32_t ServiceSettings::SocketTimeout() const {
  return socketTimeoutMs > 0 ? static_cast<std::uint32_t>(socketTimeoutMs)
                             : kDefaultSocketTimeoutMs;
}

}  // namespace idcardreader
