#include "config/data_files.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "config/data_file_lines.h"
#include "config/default_endpoints.h"
#include "config/field_scrambling.h"
#include "platform/files.h"
#include "support/console.h"
#include "support/gbk_text.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr char kVersion[] = "V1.0";
// The files hold a line or two; a file that never ends must not fill the memory.
constexpr std::size_t kLargestFile = 1024 * 1024;

const GbkText kCannotOpenAppId("打开appid文件失败");
const GbkText kEmptyAppId("appid文件数据为空");
const GbkText kCannotOpenHostPort("打开hostport文件失败");
const GbkText kEmptyHostPort("hostport文件数据为空");

void LogFailure(std::string_view message) {
  DataFileLog().Log(message);
  ErrorLog().Log(message);
}

std::string ReadWhole(std::FILE* file) {
  std::string text;
  std::array<char, 4096> part;
  std::size_t count = 0;
  while (text.size() < kLargestFile &&
         (count = std::fread(part.data(), 1, part.size(), file)) > 0) {
    text.append(part.data(), count);
  }
  return text;
}

DataFiles::Result LoadValues(const std::filesystem::path& path, std::string_view cannotOpen,
                             std::string_view empty, std::vector<std::string>& values) {
  PrintLine(std::string("version:") + kVersion);
  const platform::File file = platform::OpenFile(path, "rt");
  if (file == nullptr) {
    LogFailure(cannotOpen);
    return DataFiles::kCannotOpen;
  }
  values = DataFileValues(ReadWhole(file.get()), kDataFileKey);
  if (values.empty()) {
    LogFailure(empty);
    return DataFiles::kNoValue;
  }
  return DataFiles::kLoaded;
}

}  // namespace

DataFiles::DataFiles(std::filesystem::path folder)
    : folder(std::move(folder)),
      endpoints{std::string(kDefaultHost1) + "," + kDefaultPort,
                std::string(kDefaultHost2) + "," + kDefaultPort} {}

DataFiles::Result DataFiles::LoadAppId() {
  if (appIdResult == kNotLoaded) {
    std::vector<std::string> values;
    appIdResult = LoadValues(folder / "appid.dat", kCannotOpenAppId, kEmptyAppId, values);
    if (appIdResult == kLoaded) {
      appId = values.back();
    }
  }
  return appIdResult;
}

DataFiles::Result DataFiles::LoadHostPort() {
  if (hostPortResult == kNotLoaded) {
    std::vector<std::string> values;
    hostPortResult =
        LoadValues(folder / "hostport.dat", kCannotOpenHostPort, kEmptyHostPort, values);
    if (hostPortResult == kLoaded) {
      endpoints = std::move(values);
    }
  }
  return hostPortResult;
}

std::string DataFiles::NextEndpoint() {
  std::string endpoint = endpoints[endpointIndex];
  endpointIndex = (endpointIndex + 1) % endpoints.size();
  return endpoint;
}

}  // namespace idcardreader
