#include "config/start_up.h"

#include <array>
#include <cstdio>
#include <initializer_list>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "config/data_files.h"
#include "platform/files.h"
#include "support/logs.h"
#include "support/text.h"

namespace idcardreader {
namespace {

constexpr char kConfFileName[] = "conf.yaml";

const GbkText kConfFileNotOpened("打开配置文件失败，路径：");
const GbkText kErrorNumber("，错误码：");
const GbkText kSerialPortLabel("串口号：COM");
const GbkText kBaudRateLabel("，波特率：");
const GbkText kCannotOpenAppId("打开appid文件失败");
const GbkText kEmptyAppId("appid文件数据为空");
const GbkText kCannotOpenHostPort("打开hostport文件失败");
const GbkText kEmptyHostPort("hostport文件数据为空");

// What loading a data file has come to, as the start-up prints it.
enum LoadResult : int { kCannotOpen = 1, kNoValue = 5, kLoaded = 9 };

struct FileText {
  StartUp::File state = StartUp::File::unread;
  unsigned long error = 0;
  std::string text;
};

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) {
    text += part;
  }
  return text;
}

FileText ReadWhole(const std::filesystem::path& path, const char* mode) {
  // The files hold a line or two; one that never ends must not fill the memory.
  constexpr std::size_t kLargestFile = 1024 * 1024;
  FileText content;
  const platform::File file = platform::OpenFile(path, mode);
  if (file == nullptr) {
    content.state = platform::OutOfDescriptors() ? StartUp::File::unread : StartUp::File::unusable;
    content.error = platform::LastSystemError();
    return content;
  }
  content.state = StartUp::File::read;
  std::array<char, 4096> part;
  std::size_t count = 0;
  while (content.text.size() < kLargestFile &&
         (count = std::fread(part.data(), 1, part.size(), file.get())) > 0) {
    content.text.append(part.data(), count);
  }
  return content;
}

void ReadConfFile(const std::filesystem::path& executableFolder,
                  const std::filesystem::path& libraryFolder, StartUp& startUp) {
  const std::filesystem::path path = executableFolder / kConfFileName;
  FileText file = ReadWhole(path, "rb");
  std::error_code ignored;
  if (file.state == StartUp::File::unusable && !std::filesystem::exists(path, ignored)) {
    // The executable may be an interpreter or a virtual machine, whose folder is not the host's.
    FileText other = ReadWhole(libraryFolder / kConfFileName, "rb");
    file.state = other.state;
    file.text = std::move(other.text);
  }
  startUp.confFile = file.state;
  if (file.state == StartUp::File::read) {
    startUp.settings = ParseConfFile(file.text);
    const auto port = static_cast<std::int32_t>(startUp.settings.comnum);
    const auto baudRate = static_cast<std::int32_t>(startUp.settings.comport);
    startUp.serialDescription =
        Joined({kSerialPortLabel, std::to_string(port), kBaudRateLabel, std::to_string(baudRate)});
  } else {
    ErrorLog().Log(Joined(
        {kConfFileNotOpened, platform::AnsiText(path), kErrorNumber, std::to_string(file.error)}));
  }
  SwitchPrinting(startUp.settings.canPrint);
}

void LogFailure(std::string_view message) {
  DataFileLog().Log(message);
  ErrorLog().Log(message);
}

struct DataFile {
  const char* name;
  std::string_view printedName;
  std::string_view cannotOpen;
  std::string_view empty;
};

// Empty when the file cannot be opened or holds no value.
std::vector<std::string> LoadDataFile(const DataFile& dataFile, const std::filesystem::path& folder,
                                      StartUp::File& state) {
  PrintLine("version:V1.0");
  const FileText file = ReadWhole(folder / dataFile.name, "rt");
  state = file.state;
  LoadResult result = kLoaded;
  std::vector<std::string> values = DataFileValues(file.text);
  if (state != StartUp::File::read) {
    result = kCannotOpen;
    LogFailure(dataFile.cannotOpen);
  } else if (values.empty()) {
    result = kNoValue;
    state = StartUp::File::unusable;
    LogFailure(dataFile.empty);
  }
  PrintLine(std::string(dataFile.printedName) + ":" + std::to_string(result));
  return values;
}

void ReadAppId(const std::filesystem::path& folder, StartUp& startUp) {
  std::vector<std::string> values = LoadDataFile(
      {"appid.dat", "iInitAppid", kCannotOpenAppId, kEmptyAppId}, folder, startUp.appIdFile);
  if (values.empty()) {
    ErrorLog().Log("Read Appid File Fail!");
  } else {
    startUp.appId = std::move(values.back());
  }
}

// The endpoints are handed out in turn, starting over after the last.
void ReadEndpoints(const std::filesystem::path& folder, StartUp& startUp) {
  std::vector<std::string> endpoints =
      LoadDataFile({"hostport.dat", "iInitIpPort", kCannotOpenHostPort, kEmptyHostPort}, folder,
                   startUp.hostPortFile);
  if (endpoints.empty()) {
    // As they are printed; the comma leaves the default servers as they are.
    for (const ServerEndpoint& server : startUp.servers) {
      endpoints.push_back(server.host + "," + std::to_string(server.port));
    }
  }
  PrintLine("ipport:" + endpoints.front());
  const std::size_t next = 1 % endpoints.size();
  startUp.endpointPosition = std::to_string(next) + ":" + std::to_string(endpoints.size());
  PrintLine(startUp.endpointPosition);
  auto& [first, second] = startUp.servers;
  first = ParseEndpoint(endpoints.front()).value_or(first);
  second = ParseEndpoint(endpoints[next]).value_or(second);
}

}  // namespace

StartUp ReadStartUp(const std::filesystem::path& executableFolder,
                    const std::filesystem::path& libraryFolder, StartUp startUp) {
  if (startUp.confFile == StartUp::File::unread) {
    ReadConfFile(executableFolder, libraryFolder, startUp);
  }
  if (startUp.appIdFile == StartUp::File::unread) {
    ReadAppId(libraryFolder, startUp);
  }
  if (startUp.appIdFile == StartUp::File::read && startUp.hostPortFile == StartUp::File::unread) {
    ReadEndpoints(libraryFolder, startUp);
  }
  return startUp;
}

}  // namespace idcardreader
