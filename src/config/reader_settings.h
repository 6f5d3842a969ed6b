#pragma once

#include <cstdint>
#include <string>

#include "config/conf_file.h"
#include "config/default_endpoints.h"

namespace idcardreader {

// What the files beside the host program and beside the library say.
struct ReaderSettings {
  std::string appId;
  bool canLog = false;
  bool canLogDetail = false;
  bool canRecordDB = false;
  std::string serverHost1 = kDefaultHost1;
  std::string serverPort1 = kDefaultPort;
  std::string serverAddress1;
  std::string serverHost2 = kDefaultHost2;
  std::string serverPort2 = kDefaultPort;
  std::string serverAddress2;
  std::uint32_t vid = 0xC216;
  std::uint32_t pid = 0x0102;
  std::uint32_t comnum = 1;
  std::uint32_t comport = 57600;  // the baud rate, whatever its name says
  std::string comname;
  std::string limitB = "1000";  // the time-out of one send or receive of the service, in ms

  void ApplyConfFile(const ConfFile& file);
};

// Stores an endpoint "host:port"; one of any other form leaves both as they are.
void ApplyEndpoint(const std::string& endpoint, std::string& host, std::string& port);

}  // namespace idcardreader
