#pragma once

#include <array>
#include <filesystem>
#include <string>

#include "config/conf_file.h"
#include "config/service_settings.h"

namespace idcardreader {

// Where the service is when no file says so: names that exist nowhere, so that no card block leaves
// the machine before somebody has said where to.
inline constexpr char kDefaultHost1[] = "decode1.idcardreader.invalid";
inline constexpr char kDefaultHost2[] = "decode2.idcardreader.invalid";
inline constexpr std::uint16_t kDefaultPort = 9999;

// What the engine is told when it is made, by the files beside the host program and beside the
// library.
struct StartUp {
  // A file that cannot be opened because there is no descriptor left stays unread and is worth
  // another try; what else is wrong with it is final.
  enum class File { unread, read, unusable };

  ReaderSettings settings;
  std::string serialDescription;  // port and baud rate, GBK; empty without conf.yaml
  std::string appId;
  std::array<ServerEndpoint, 2> servers = {
      {{kDefaultHost1, kDefaultPort}, {kDefaultHost2, kDefaultPort}}};
  std::string endpointPosition;  // for the activity log
  File confFile = File::unread;
  File appIdFile = File::unread;
  File hostPortFile = File::unread;  // unusable: default hosts take its place

  // Hosts and ports are known. Without an application id nobody asks for them.
  bool EndpointsKnown() const { return hostPortFile != File::unread; }
  bool Incomplete() const {
    return confFile == File::unread || appIdFile == File::unread ||
           (appIdFile == File::read && !EndpointsKnown());
  }
};

// Reads conf.yaml from beside the executable or, when there is none, from beside the library, then
// appid.dat and hostport.dat from beside the library; those that are not unread stay as they are.
// Prints and logs what it has found, and switches printing as conf.yaml says.
StartUp ReadStartUp(const std::filesystem::path& executableFolder,
                    const std::filesystem::path& libraryFolder, StartUp startUp = {});

}  // namespace idcardreader
