#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace idcardreader {

struct ServerEndpoint {
  std::string host;  // a name, or a dotted address
  std::uint16_t port = 0;
};

// Nothing for a text that has another form than "host:port".
std::optional<ServerEndpoint> ParseEndpoint(std::string_view text);

// What the service is told about this application, reader and machine.
struct ServiceIdentity {
  std::string deviceCode = "Appid&IDCard&PcDevice";
  std::string applicationId = "app001";
  std::string hardwareNumber = "IDCard";
  std::string deviceNumber = "PcDevice";
  std::string hardwareVersion = "verson";
};

// A device code of four parts joined with "&" gives the others too; of any other, they stay.
ServiceIdentity IdentityOf(std::string_view deviceCode);

// What the service link is told with each read.
struct ServiceSettings {
  ServiceIdentity identity;
  std::vector<ServerEndpoint> servers;  // by address
  std::vector<ServerEndpoint> hosts;    // by name, looked up only while no address is known
};

}  // namespace idcardreader
