#pragma once

#include <cstdint>
#include <string>

#include "config/conf_file.h"

namespace idcardreader {

// Where the service is when no file says so: names that exist nowhere, so that no card block leaves
// the machine before somebody has said where to.
inline constexpr char kDefaultHost1[] = "decode1.idcardreader.invalid";
inline constexpr char kDefaultHost2[] = "decode2.idcardreader.invalid";
inline constexpr char kDefaultPort[] = "9999";

// What the files beside the host program and beside the library say.
struct ReaderSettings {
  std::string appId;
  bool canLog = false;
  bool canPrint = true;  // the progress lines on standard output; off for the value "false" alone
  std::string serverHost1 = kDefaultHost1;
  std::string serverPort1 = kDefaultPort;
  std::string serverHost2 = kDefaultHost2;
  std::string serverPort2 = kDefaultPort;
  std::uint32_t vid = 0xC216;
  std::uint32_t pid = 0x0102;
  std::uint32_t comnum = 1;
  std::uint32_t comport = 57600;  // the baud rate, whatever its name says
  std::string comname;

  void ApplyConfFile(const ConfFile& file);
};

// Stores an endpoint "host:port"; one of any other form leaves both as they are.
void ApplyEndpoint(const std::string& endpoint, std::string& host, std::string& port);

}  // namespace idcardreader
