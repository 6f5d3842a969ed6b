#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace idcardreader {

// What the service link is told, by number.
enum class LinkSetting : std::int32_t {
  server1 = 19,
  socket_timeout = 21,
  log_switch = 22,
  device_code = 23,
  server2 = 24,
  host1 = 26,
  host2 = 27,
};

struct ServerEndpoint {
  std::string host;  // a name, or a dotted address
  std::uint16_t port;
};

// What the service is told about this application, reader and machine.
struct ServiceIdentity {
  std::string deviceCode = "Appid&IDCard&PcDevice";
  std::string applicationId = "app001";
  std::string hardwareNumber = "IDCard";
  std::string deviceNumber = "PcDevice";
  std::string hardwareVersion = "verson";
};

// The settings of the service link.
struct ServiceSettings {
  ServiceIdentity identity;
  std::int32_t socketTimeoutMs = 0;
  std::vector<ServerEndpoint> resolvedServers;
  std::vector<ServerEndpoint> configuredServers;

  // server1 and server2: "1.2.3.4.9999", a server by address; device_code also gives the identity
  // when it has four parts joined with "&"; host1 and host2: "host*9999", a server by name, taken
  // only while no address is known. Texts of another form change nothing.
  void Apply(LinkSetting setting, std::string_view text);
  // One send or receive may take this long.
  std::uint32_t SocketTimeout() const;
};

}  // namespace idcardreader
