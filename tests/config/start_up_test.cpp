#include "config/start_up.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#ifndef _WIN32
#include <sys/resource.h>
#endif

#include "platform/code_page.h"
#include "platform/files.h"
#include "support/captured_output.h"
#include "support/logged_lines.h"
#include "support/logs.h"
#include "support/temporary_folder.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kAppId[] = "label\t5AEA11D9172C2416150C6EE84628080D04\r\n";  // 0123456789
constexpr char kHost1[] =
    "label\tFF39E20ED643FB30C1A45B99A244E31DC0A894958FE7\r\n";          // svc.example:7000
constexpr char kHost2[] = "label\t01383F280263DC52D24CD747\n";          // 1.2.3.4:5
constexpr char kHost3[] = "label\t023B32FE22C6B95D87A340FA3FF07CF9\n";  // two.example:8
constexpr char kNoEquals[] = "label\t0926DF1DDA0725D315\n";

std::string Gbk(std::string_view utf8) { return platform::Utf16ToGbk(platform::Utf8ToUtf16(utf8)); }

// No file can be opened while this lives.
class DescriptorsExhausted {
 public:
#ifdef _WIN32
  DescriptorsExhausted() {
    while (platform::File file{std::fopen("NUL", "rb")}) taken.push_back(std::move(file));
  }

 private:
  std::vector<platform::File> taken;
#else
  DescriptorsExhausted() {
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~DescriptorsExhausted() { setrlimit(RLIMIT_NOFILE, &before); }
  DescriptorsExhausted(const DescriptorsExhausted&) = delete;
  DescriptorsExhausted& operator=(const DescriptorsExhausted&) = delete;

 private:
  rlimit before{};
#endif
};

class StartUpTest : public testing::Test {
 protected:
  void TearDown() override { SwitchPrinting(true); }

  StartUp Read(StartUp before = {}) {
    CapturedOutput output;
    StartUp startUp = ReadStartUp(host.path, library.path, std::move(before));
    printed = output.Take();
    return startUp;
  }

  void WriteDataFiles() const {
    library.Write("appid.dat", kAppId);
    library.Write("hostport.dat", std::string(kHost1) + kHost2 + kHost3);
  }

  const TemporaryFolder host;
  const TemporaryFolder library;
  std::string printed;
};

TEST_F(StartUpTest, TellsWhatTheDataFilesSay) {
  const std::string cannotOpenAppId = Gbk("打开appid文件失败");
  const std::string emptyAppId = Gbk("appid文件数据为空");
  const std::string failed = "Read Appid File Fail!";
  const std::string defaults = "ipport:decode1.idcardreader.invalid,9999\n1:2\n";
  const std::string defaultServers =
      "decode1.idcardreader.invalid:9999 decode2.idcardreader.invalid:9999";
  const struct {
    const char* appId;  // null: there is no such file
    const char* hostPort;
    std::string printed;
    std::vector<std::string> logged;
    std::string servers;
  } rows[] = {
      {nullptr, kHost1, "version:V1.0\niInitAppid:1\n", {cannotOpenAppId, failed}, defaultServers},
      {"", kHost1, "version:V1.0\niInitAppid:5\n", {emptyAppId, failed}, defaultServers},
      {kNoEquals, kHost1, "version:V1.0\niInitAppid:5\n", {emptyAppId, failed}, defaultServers},
      {kAppId,
       nullptr,
       "version:V1.0\niInitAppid:9\nversion:V1.0\niInitIpPort:1\n" + defaults,
       {Gbk("打开hostport文件失败")},
       defaultServers},
      {kAppId,
       "no tab",
       "version:V1.0\niInitAppid:9\nversion:V1.0\niInitIpPort:5\n" + defaults,
       {Gbk("hostport文件数据为空")},
       defaultServers},
      {kAppId,
       kHost1,
       "version:V1.0\niInitAppid:9\nversion:V1.0\niInitIpPort:9\nipport:svc.example:7000\n0:1\n",
       {},
       "svc.example:7000 svc.example:7000"}};
  host.Write("conf.yaml", "# none\n");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.printed);
    for (const auto& [name, text] :
         {std::pair{"appid.dat", row.appId}, {"hostport.dat", row.hostPort}}) {
      std::filesystem::remove(library.path / name);
      if (text != nullptr) library.Write(name, text);
    }
    const LoggedLines errors;
    const StartUp startUp = Read();
    EXPECT_EQ(printed, row.printed);
    EXPECT_EQ(errors.Get(), row.logged);
    const ReaderSettings& settings = startUp.settings;
    const bool loaded = printed.starts_with("version:V1.0\niInitAppid:9");
    EXPECT_EQ(settings.appId, loaded ? "0123456789" : "");
    EXPECT_EQ(startUp.EndpointsKnown(), loaded);
    EXPECT_FALSE(startUp.Incomplete());
    EXPECT_EQ(settings.serverHost1 + ":" + settings.serverPort1 + " " + settings.serverHost2 + ":" +
                  settings.serverPort2,
              row.servers);
    EXPECT_EQ(startUp.endpointPosition + "\n",
              loaded ? printed.substr(printed.size() - 4) : std::string("\n"));
  }
  // The third endpoint is not asked for, and the last application id counts.
  WriteDataFiles();
  library.Write("appid.dat", std::string(kAppId) + kHost2);
  const StartUp startUp = Read();
  EXPECT_EQ(startUp.settings.appId, "1.2.3.4:5");
  EXPECT_EQ(startUp.settings.serverHost2 + startUp.settings.serverPort2, "1.2.3.45");
  EXPECT_EQ(startUp.endpointPosition, "1:3");
}

TEST_F(StartUpTest, ReadsTheConfigurationOfTheHostElseThatOfTheLibrary) {
  const std::string path = platform::AnsiText(host.path / "conf.yaml");
  WriteDataFiles();
  const LoggedLines none;
  EXPECT_EQ(Read().serialDescription, "");
  EXPECT_THAT(none.Get(), ElementsAre(Gbk("打开配置文件失败，路径：") + path + Gbk("，错误码：2")));

  const LoggedLines errors;
  library.Write("conf.yaml", "comnum: -5\n");
  StartUp startUp = Read();
  EXPECT_EQ(startUp.serialDescription, Gbk("串口号：COM-5，波特率：57600"));
  EXPECT_EQ(startUp.confFile, StartUp::File::read);
  host.Write("conf.yaml", "# reader\ncanLog: true\ncomport: 4294967295\n");
  startUp = Read();
  EXPECT_EQ(startUp.serialDescription, Gbk("串口号：COM1，波特率：-1"));
  EXPECT_TRUE(startUp.settings.canLog);
  EXPECT_THAT(errors.Get(), IsEmpty());

  // One that is there and cannot be read is not passed over in silence.
  std::filesystem::remove(host.path / "conf.yaml");
  std::filesystem::create_directory(host.path / "conf.yaml");
  EXPECT_EQ(Read().confFile, StartUp::File::unusable);
  EXPECT_EQ(errors.Get().size(), 1U);
}

TEST_F(StartUpTest, TheConfigurationSwitchesPrintingForThisStartOnly) {
  WriteDataFiles();
  host.Write("conf.yaml", "canPrint: false\n");
  Read();
  EXPECT_EQ(printed, "");
  std::filesystem::remove(host.path / "conf.yaml");
  Read();
  EXPECT_TRUE(printed.starts_with("version:V1.0\niInitAppid:9\n")) << printed;
}

TEST_F(StartUpTest, WhatCouldNotBeOpenedForWantOfDescriptorsIsReadAgain) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer itself asks for a descriptor when it looks at an object";
#endif
  WriteDataFiles();
  host.Write("conf.yaml", "vid: 7\n");
  StartUp startUp;
  {
    const DescriptorsExhausted exhausted;
    startUp = ReadStartUp(host.path, library.path);
  }
  EXPECT_TRUE(startUp.Incomplete());
  EXPECT_FALSE(startUp.EndpointsKnown());
  startUp = Read(startUp);
  EXPECT_FALSE(startUp.Incomplete());
  EXPECT_EQ(startUp.settings.vid, 7U);
  EXPECT_EQ(startUp.settings.appId + startUp.settings.serverHost1, "0123456789svc.example");

  // And nothing else is.
  for (const char* name : {"appid.dat", "hostport.dat"})
    std::filesystem::remove(library.path / name);
  EXPECT_EQ(Read(startUp).settings.serverHost1, "svc.example");
  EXPECT_EQ(printed, "");
  startUp.hostPortFile = StartUp::File::unread;
  startUp = Read(startUp);
  EXPECT_TRUE(printed.starts_with("version:V1.0\niInitIpPort:1\n")) << printed;
  EXPECT_FALSE(startUp.Incomplete());
}

}  // namespace
}  // namespace idcardreader
