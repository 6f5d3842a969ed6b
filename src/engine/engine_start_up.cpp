#include <cstdio>
#include <string>
#include <string_view>

#include "engine/reader_engine.h"
#include "platform/files.h"
#include "support/console.h"
#include "support/gbk_text.h"
#include "support/status_codes.h"
#include "support/text_log.h"

// The part of the engine that reads its files, once, while it is made.

namespace idcardreader {
namespace {

const GbkText kConfFileNotOpened("打开配置文件失败，路径：");
const GbkText kErrorNumber("，错误码：");
const GbkText kSerialPortLabel("串口号：COM");
const GbkText kBaudRateLabel("，波特率：");

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) {
    text += part;
  }
  return text;
}

std::string ReadWhole(std::FILE* file) {
  constexpr std::size_t kLargestFile = 1024 * 1024;
  std::string text;
  char part[4096];
  std::size_t count = 0;
  while (text.size() < kLargestFile && (count = std::fread(part, 1, sizeof part, file)) > 0) {
    text.append(part, count);
  }
  return text;
}

}  // namespace

bool ReaderEngine::LoadConfig() {
  LoadConfFile();
  dataFiles = std::make_unique<DataFiles>(libraryFolder);
  if (!LoadAppId()) {
    return false;
  }
  LoadEndpoints();
  RecordEndpoints();
  return true;
}

void ReaderEngine::LoadConfFile() {
  const std::filesystem::path path = executableFolder / "conf.yaml";
  const platform::File file = platform::OpenFile(path, "rb");
  if (file == nullptr) {
    const std::string number = std::to_string(platform::LastSystemError());
    ErrorLog().Log(Joined({kConfFileNotOpened, platform::AnsiText(path), kErrorNumber, number}));
    reader.Configure(settings);
    return;
  }
  configFile = ConfFile::FromText(ReadWhole(file.get()));
  settings.ApplyConfFile(*configFile);
  reader.Configure(settings);
  if (!logDetail) {
    SetLogging(settings.canLog, false);
  }
  serialDescription = Joined({kSerialPortLabel, std::to_string(settings.comnum), kBaudRateLabel,
                              std::to_string(settings.comport)});
}

bool ReaderEngine::LoadAppId() {
  const DataFiles::Result result = dataFiles->LoadAppId();
  PrintLine("iInitAppid:" + std::to_string(result));
  if (result != DataFiles::kLoaded) {
    ErrorLog().Log("Read Appid File Fail!");
    return false;
  }
  settings.appId = dataFiles->AppId();
  return true;
}

void ReaderEngine::LoadEndpoints() {
  PrintLine("iInitIpPort:" + std::to_string(dataFiles->LoadHostPort()));
  const std::string first = dataFiles->NextEndpoint();
  PrintLine("ipport:" + first);
  const std::string position =
      std::to_string(dataFiles->EndpointIndex()) + ":" + std::to_string(dataFiles->EndpointCount());
  PrintLine(position);
  log.Log(position);
  ApplyEndpoint(first, settings.serverHost1, settings.serverPort1);
  ApplyEndpoint(dataFiles->NextEndpoint(), settings.serverHost2, settings.serverPort2);
  settings.serverAddress1 = ResolvedAddress(settings.serverHost1);
  settings.serverAddress2 = ResolvedAddress(settings.serverHost2);
}

std::string ReaderEngine::ResolvedAddress(const std::string& host) {
  return host.empty() || platform::IsDottedAddress(host) ? host : sockets.ResolveHostName(host);
}

void ReaderEngine::RecordEndpoints() {
  links.Record(kItemServer1, settings.serverAddress1 + "." + settings.serverPort1);
  links.Record(kItemSocketTimeout, settings.limitB);
  links.Record(kItemServer2, settings.serverAddress2 + "." + settings.serverPort2);
  // Both hosts go with the second port: the service's operators count on it.
  links.Record(kItemHost1, settings.serverHost1 + "*" + settings.serverPort2);
  links.Record(kItemHost2, settings.serverHost2 + "*" + settings.serverPort2);
}

}  // namespace idcardreader
