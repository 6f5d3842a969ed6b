#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace idcardreader {

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

// The settings of the service link, as they are written by item number.
struct ServiceSettings {
  ServiceIdentity identity;
  std::int32_t socketTimeoutMs = 0;
  std::vector<ServerEndpoint> resolvedServers;
  std::vector<ServerEndpoint> configuredServers;

  // 19 and 24: "1.2.3.4.9999", a server by address; 21: the time-out; 23: the device code, which
  // also gives the identity when it has four parts joined with "&"; 26 and 27: "host*9999", a
  // server by name, taken only while no address is known. Other items, and texts of another form,
  // change nothing.
  void Apply(std::int32_t item, std::string_view text);
  // One send or receive may take this long.
  std::uint32_t SocketTimeout() const;
};

}  // namespace idcardreader
