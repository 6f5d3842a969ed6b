#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace idcardreader {

// appid.dat and hostport.dat, the two files beside the library that say who we are to the service
// and where it is. Each is read once; a later load gives the stored result.
class DataFiles {
 public:
  // What the loaders return and the start-up prints.
  enum Result : int { kNotLoaded = 0, kCannotOpen = 1, kNoValue = 5, kLoaded = 9 };

  explicit DataFiles(std::filesystem::path folder);

  Result LoadAppId();
  Result LoadHostPort();

  const std::string& AppId() const { return appId; }

  // Hands the endpoints out in turn, starting over after the last; never empty-handed, because two
  // default endpoints stand in for a file without any.
  std::string NextEndpoint();
  std::size_t EndpointIndex() const { return endpointIndex; }
  std::size_t EndpointCount() const { return endpoints.size(); }

 private:
  const std::filesystem::path folder;
  std::string appId;
  std::vector<std::string> endpoints;
  std::size_t endpointIndex = 0;
  Result appIdResult = kNotLoaded;
  Result hostPortResult = kNotLoaded;
};

}  // namespace idcardreader
