#include "doctor/doctor_command.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>

#include "configuration.h"
#include "doctor/conf_check.h"
#include "doctor/data_file_check.h"
#include "doctor/reader_check.h"
#include "doctor/service_check.h"
#include "host_library.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "text_encoding.h"

namespace readcard {
namespace {

namespace fs = std::filesystem;
namespace platform = idcardreader::platform;
using doctor::Finding;
using doctor::Findings;
using doctor::Level;

constexpr std::uintmax_t kLargeLogs = 100ULL * 1024 * 1024;
constexpr Text kLibrary = {"Library", "动态库"};
constexpr Text kConfFile = {"conf.yaml", "conf.yaml"};
constexpr Text kDataFile = {"Data file", "数据文件"};
constexpr Text kLogFolder = {"Log folder", "日志文件夹"};
constexpr Text kLogging = {"Logging", "日志"};
constexpr Text kClock = {"Clock of the machine", "系统时钟"};
constexpr Text kOutput = {"Standard output", "标准输出"};
constexpr Text kEvents = {"Event names", "事件名称"};

// Nothing when there is no such file, or none that can be read.
std::optional<std::string> Content(const fs::path& path) {
  constexpr std::size_t kLargest = 1024 * 1024;  // as much as the library reads
  const platform::File file = platform::OpenFile(path, "rb");
  if (file == nullptr) return std::nullopt;
  std::string text(kLargest, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  return text;
}

std::string FindingText(const Finding& finding, Language language) {
  constexpr Text kLevels[] = {
      {"ok      ", "正常  "}, {"warning ", "警告  "}, {"fault   ", "故障  "}};
  std::string text = kLevels[static_cast<int>(finding.level)].In(language);
  text += finding.what.In(language);
  if (!finding.detail.empty()) text += ": " + finding.detail;
  text += "\n";
  if (finding.level == Level::ok) return text;
  return text + "        " + finding.cause.In(language) + "\n        -> " +
         finding.cure.In(language) + "\n";
}

class Doctor {
 public:
  Doctor(const Options& given, Console& shown) : options(given), console(shown) {}

  Findings Look(platform::OutputState output) {
    LookAtClock();
    LookAtOutput(output);
    LookAtEvents();
    LookAtLibrary();
    if (library != nullptr) LookAtInstallation();
    Tell();
    return std::move(findings);
  }

 private:
  void LookAtInstallation() {
    folder = library->File().parent_path();
    const doctor::ConfSettings settings = LookAtConf();
    const std::string appId = LookAtDataFile("appid.dat", doctor::CheckAppId);
    const auto endpoints = LookAtDataFile("hostport.dat", doctor::CheckHostPort);
    LookAtLogs(settings.canLog);
    Tell();  // reader and service may take seconds each
    const doctor::ReaderIdentity identity = LookAtReader(settings);
    Tell();
    doctor::CheckService(endpoints, appId, identity, findings);
  }

  // Shows what was found since the last time. A program gets one document at the end instead.
  void Tell() {
    if (options.json) return;
    for (; told < findings.size(); ++told) {
      console.Print(FindingText(findings[told], options.language));
    }
  }

  void Add(Finding finding) { findings.push_back(std::move(finding)); }

  void LookAtClock() {
    const platform::LocalTime now = platform::SystemClock().Now();
    const std::string date =
        std::to_string(now.year) + "-" + std::to_string(now.month) + "-" + std::to_string(now.day);
    if (now.year >= 2024 && now.year < 2100) {
      Add({Level::ok, "clock", kClock, date});
      return;
    }
    Add({Level::warning,
         "clock",
         kClock,
         date,
         {"The machine's date is wrong: logs cannot be told apart, and a service may refuse it.",
          "系统日期不正确：日志无法区分，解码服务也可能拒绝。"},
         {"Set the clock.", "请校准系统时钟。"}});
  }

  void LookAtOutput(platform::OutputState output) {
    if (output == platform::OutputState::read) {
      Add({Level::ok, "output", kOutput, ""});
      return;
    }
    const bool closed = output == platform::OutputState::closed;
    Add({Level::warning,
         closed ? "output.closed" : "output.unread",
         kOutput,
         "",
         closed ? Text{"The standard output is closed: what the library prints goes nowhere.",
                       "标准输出已关闭：动态库打印的内容无处可去。"}
                : Text{"Nobody reads the standard output: what is printed is lost, and costs time.",
                       "标准输出无人读取：打印的内容会丢失，并且耗费时间。"},
         {"Let the program read it, or write canPrint: false into conf.yaml.",
          "请让程序读取它，或在conf.yaml中写入canPrint: false。"}});
  }

  void LookAtEvents() {
    for (const char* name : {"UserData", "Server", "writELog"}) {
      if (!platform::NamedEventExists(name)) continue;
      Add({Level::warning,
           "events",
           kEvents,
           name,
           {"Another process has an event of the library's name: a second host is at work.",
            "另一个进程持有与动态库同名的事件：可能有第二个宿主程序在运行。"},
           {"Run one program with the reader at a time.", "请同时只运行一个使用读卡器的程序。"}});
    }
  }

  void LookAtLibrary() {
    std::string complaint;
    library = HostLibrary::Load(options.library, complaint);
    if (library != nullptr) {
      // Its version is not asked for: that would create the engine, which writes logs.
      Add({Level::ok, "library", kLibrary,
           PathText(library->File()) + ", " + std::to_string(sizeof(void*) * 8) + " bit, " +
               platform::FileVersion(library->File())});
      return;
    }
    Add({Level::fault,
         "library.missing",
         kLibrary,
         complaint,
         {"The library does not load: it is missing, built for 32 bits, or the library of hidapi "
          "that it needs is missing.",
          "动态库无法加载：文件缺失、是32位的，或缺少它需要的hidapi库。"},
         {"Put the library beside the program and hidapi beside it, or name it with --library.",
          "请把动态库和hidapi放在程序旁边，或用--library指明。"}});
  }

  doctor::ConfSettings LookAtConf() {
    const fs::path beside =
        options.program.empty()
            ? platform::ExecutableFolder()
            : fs::path(std::u8string(options.program.begin(), options.program.end())).parent_path();
    std::error_code ignored;
    for (const fs::path& place : {beside / "conf.yaml", folder / "conf.yaml"}) {
      if (!fs::exists(place, ignored)) continue;
      const auto text = Content(place);
      if (text) {
        Add({Level::ok, "conf.file", kConfFile, PathText(place)});
        return doctor::CheckConf(*text, findings);
      }
      Add({Level::fault,
           "conf.unreadable",
           kConfFile,
           PathText(place),
           {"The file is there but cannot be read, so the defaults hold.",
            "文件存在但无法读取，因此使用默认值。"},
           {"Let the user read it; it must be a regular file.",
            "请让用户可以读取；它必须是普通文件。"}});
      return {};
    }
    Add({Level::ok, "conf.file", kConfFile, "-"});
    return {};
  }

  template <typename Value>
  Value LookAtDataFile(const char* name, Value (*check)(std::string_view, Findings&)) {
    const fs::path path = folder / name;
    std::error_code ignored;
    const std::string key = std::string(name).substr(0, std::string(name).find('.'));
    if (const auto text = Content(path)) return check(*text, findings);
    const bool there = fs::exists(path, ignored);
    const bool regular = fs::is_regular_file(path, ignored);
    Add({Level::fault,
         key + (!there    ? ".missing"
                : regular ? ".permission"
                          : ".irregular"),
         kDataFile,
         PathText(path),
         !there ? Text{"The file is missing: without it no decode service is known (status code "
                       "29).",
                       "文件缺失：没有它就不知道解码服务（状态码29）。"}
         : regular
             ? Text{"The user may not read the file (status code 29).",
                    "当前用户无权读取该文件（状态码29）。"}
             : Text{"This is no regular file (status code 29).", "这不是普通文件（状态码29）。"},
         {"Put the file that the operator of the decode service gave out beside the library, "
          "readable for the user.",
          "请把解码服务运营方发放的文件放在动态库旁边，并让用户可以读取。"}});
    return {};
  }

  void LookAtLogs(bool canLog) {
    std::uintmax_t personal = 0;
    for (const char* name : {"errordata", "LogData", "logdata"}) {
      const fs::path logs = folder / name;
      std::error_code error;
      std::uintmax_t size = 0;
      for (fs::directory_iterator entry(logs, error), end; !error && entry != end;
           entry.increment(error)) {
        const std::uintmax_t bytes = entry->file_size(error);
        size += error ? 0 : bytes;
      }
      if (std::string(name) == "logdata") personal = size;
      const bool there = fs::is_directory(logs, error);
      const std::string detail = PathText(logs) + ", " + std::to_string(size) + " B";
      if (!platform::MayWriteInto(there ? logs : folder)) {
        Add({Level::warning,
             "logs.unwritable",
             kLogFolder,
             detail,
             {"The user may not write logs there, so failures leave no trace.",
              "当前用户不能在此写日志，因此失败不会留下记录。"},
             {"Make the folder and let the user write into it.",
              "请创建该文件夹并让用户可以写入。"}});
      } else if (size > kLargeLogs) {
        Add({Level::warning,
             "logs.large",
             kLogFolder,
             detail,
             {"The logs have grown large; the library never removes them.",
              "日志已经很大；动态库不会删除日志。"},
             {"Remove old files.", "请删除旧文件。"}});
      } else {
        Add({Level::ok, "logs", kLogFolder, detail});
      }
    }
    if (canLog || personal > 0) {
      Add({Level::warning,
           canLog ? "logs.on" : "logs.left",
           kLogging,
           PathText(folder / "logdata"),
           canLog ? Text{"Logging is on: every read writes personal data into logdata.",
                         "日志已开启：每次读卡都会把个人信息写入logdata。"}
                  : Text{"logdata holds files of earlier logging, with personal data.",
                         "logdata中有以前的日志文件，含有个人信息。"},
           {"Write canLog: false into conf.yaml, and remove the files.",
            "请在conf.yaml中写入canLog: false，并删除这些文件。"}});
    }
  }

  doctor::ReaderIdentity LookAtReader(doctor::ConfSettings settings) {
    const bool serial = !options.serialPort.empty();
    if (serial) UseSerialPort(options.serialPort, settings);
    if (serial) return doctor::CheckSerialReader(settings, findings);
    const auto hidApi = doctor::CheckHidApi(folder, findings);
    if (hidApi == nullptr) return {};
    const doctor::ReaderIdentity identity = doctor::CheckUsbReader(*hidApi, settings, findings);
    hidApi->LeaveLoaded();  // the virtual reader has pinned itself
    return identity;
  }

  static void UseSerialPort(const std::string& port, doctor::ConfSettings& settings) {
    if (port.starts_with('/')) {
      settings.comname = port;
      return;
    }
    const bool named = port.starts_with("COM") || port.starts_with("com");
    settings.comname.clear();
    settings.comnum =
        static_cast<std::uint32_t>(std::strtoul(port.c_str() + (named ? 3 : 0), nullptr, 10));
  }

  const Options& options;
  Console& console;
  std::unique_ptr<HostLibrary> library;
  fs::path folder;  // the library's
  Findings findings;
  std::size_t told = 0;  // how many of them
};

const char* LevelName(Level level) {
  return level == Level::ok ? "ok" : level == Level::warning ? "warning" : "fault";
}

std::string ReportJson(const Findings& findings, Language language, int status) {
  auto list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    nlohmann::ordered_json entry = {{"name", finding.name},
                                    {"level", LevelName(finding.level)},
                                    {"what", finding.what.In(language)},
                                    {"detail", finding.detail}};
    if (finding.level != Level::ok) {
      entry["cause"] = finding.cause.In(language);
      entry["cure"] = finding.cure.In(language);
    }
    list.push_back(std::move(entry));
  }
  const nlohmann::ordered_json document = {{"status", status}, {"findings", std::move(list)}};
  return document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string Conclusion(const Findings& findings, Language language) {
  const auto count = [&](Level level) {
    return std::to_string(std::count_if(findings.begin(), findings.end(),
                                        [level](const auto& each) { return each.level == level; }));
  };
  const std::string faults = count(Level::fault), warnings = count(Level::warning);
  return language == Language::chinese ? "\n" + faults + "个故障，" + warnings + "个警告\n"
                                       : "\n" + faults + " faults, " + warnings + " warnings\n";
}

}  // namespace

int RunDoctorCommand(const Options& options, platform::OutputState output, Console& console) {
  const Findings findings = Doctor(options, console).Look(output);
  int status = 0;
  for (const Finding& finding : findings)
    status = std::max(status, static_cast<int>(finding.level));
  console.Print(options.json ? ReportJson(findings, options.language, status)
                             : Conclusion(findings, options.language));
  return status;
}

}  // namespace readcard
