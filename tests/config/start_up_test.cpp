#include "config/start_up.h"

#include <gtest/gtest.h>

#include <cstdio>

#ifndef _WIN32
#include <sys/resource.h>
#endif

#include "support/bytes.h"
#include "support/captured_output.h"
#include "support/temporary_folder.h"

namespace idcardreader {
namespace {

constexpr char kAppId[] = "label\t5AEA11D9172C2416150C6EE84628080D04\r\n";  // 0123456789
constexpr char kHost[] =
    "label\tFF39E20ED643FB30C1A45B99A244E31DC0A894958FE7\r\n";  // svc.example:7000
constexpr char kOtherHosts[] =
    "label\t01383F280263DC52D24CD747\n"           // 1.2.3.4:5
    "label\t023B32FE22C6B95D87A340FA3FF07CF9\n";  // two.example:8

class StartUpTest : public testing::Test {
 protected:
  void TearDown() override { SwitchPrinting(true); }

  StartUp Read(StartUp before = {}) {
    CapturedOutput output;
    StartUp startUp = ReadStartUp(host.path, library.path, std::move(before));
    printed = output.Take();
    return startUp;
  }

  // Null: there is no such file.
  void WriteDataFiles(const char* appId, const char* hostPort) const {
    for (const auto& [name, text] : {std::pair{"appid.dat", appId}, {"hostport.dat", hostPort}}) {
      std::filesystem::remove(library.path / name);
      if (text != nullptr) library.Write(name, text);
    }
  }
  static std::string Servers(const StartUp& startUp) {
    std::string servers;
    for (const ServerEndpoint& server : startUp.servers) {
      servers += server.host + ":" + std::to_string(server.port) + " ";
    }
    return servers;
  }

  const TemporaryFolder host;
  const TemporaryFolder library;
  std::string printed;
};

TEST_F(StartUpTest, TellsWhatTheDataFilesSay) {
  const std::string noAppId = "version:V1.0\niInitAppid:";
  const std::string noHosts = "version:V1.0\niInitAppid:9\nversion:V1.0\niInitIpPort:";
  const std::string defaults = "\nipport:decode1.idcardreader.invalid,9999\n1:2\n";
  const std::string defaultServers =
      "decode1.idcardreader.invalid:9999 decode2.idcardreader.invalid:9999 ";
  const std::string twoIds = std::string(kAppId) + kHost;
  const std::string threeHosts = std::string(kHost) + kOtherHosts;
  const struct {
    const char* appId;
    const char* hostPort;
    std::string printed;
    const char* logged;
    std::string servers;
    const char* loadedId = "";
  } rows[] = {{nullptr, kHost, noAppId + "1\n", "打开appid文件失败", defaultServers},
              {"", kHost, noAppId + "5\n", "appid文件数据为空", defaultServers},
              {kAppId, nullptr, noHosts + "1" + defaults, "打开hostport文件失败", defaultServers,
               "0123456789"},
              {kAppId, "no tab", noHosts + "5" + defaults, "hostport文件数据为空", defaultServers,
               "0123456789"},
              {kAppId, kHost, noHosts + "9\nipport:svc.example:7000\n0:1\n", "",
               "svc.example:7000 svc.example:7000 ", "0123456789"},
              // The third endpoint is not asked for, and the last application id counts.
              {twoIds.c_str(), threeHosts.c_str(), noHosts + "9\nipport:svc.example:7000\n1:3\n",
               "", "svc.example:7000 1.2.3.4:5 ", "svc.example:7000"}};
  host.Write("conf.yaml", "# none\n");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.printed);
    WriteDataFiles(row.appId, row.hostPort);
    ErrorLog().ClearLastMessage();
    DataFileLog().ClearLastMessage();
    const StartUp startUp = Read();
    const bool loaded = *row.loadedId != '\0';
    EXPECT_EQ(printed, row.printed);
    EXPECT_EQ(DataFileLog().LastMessage(), Gbk(row.logged));
    EXPECT_EQ(ErrorLog().LastMessage(), loaded ? Gbk(row.logged) : "Read Appid File Fail!");
    EXPECT_EQ(startUp.appId, row.loadedId);
    EXPECT_EQ(Servers(startUp), row.servers);
    EXPECT_EQ(startUp.EndpointsKnown(), loaded);
    EXPECT_FALSE(startUp.Incomplete());
    EXPECT_EQ(startUp.endpointPosition, loaded ? printed.substr(printed.size() - 4, 3) : "");
  }
}

TEST_F(StartUpTest, ReadsTheConfigurationOfTheHostElseThatOfTheLibrary) {
  const std::string path = platform::AnsiText(host.path / "conf.yaml");
  WriteDataFiles(kAppId, kHost);
  EXPECT_EQ(Read().serialDescription, "");
  EXPECT_EQ(ErrorLog().LastMessage(), Gbk("打开配置文件失败，路径：") + path + Gbk("，错误码：2"));

  ErrorLog().ClearLastMessage();
  library.Write("conf.yaml", "comnum: -5\n");
  EXPECT_EQ(Read().serialDescription, Gbk("串口号：COM-5，波特率：57600"));
  host.Write("conf.yaml", "# reader\ncanPrint: false\ncomport: 4294967295\n");
  EXPECT_EQ(Read().serialDescription, Gbk("串口号：COM1，波特率：-1"));
  EXPECT_EQ(printed, "");  // which the next start does again
  EXPECT_EQ(ErrorLog().LastMessage(), "");

  // One that is there and cannot be read is not passed over in silence.
  std::filesystem::remove(host.path / "conf.yaml");
  std::filesystem::create_directory(host.path / "conf.yaml");
  EXPECT_EQ(Read().confFile, StartUp::File::unusable);
  EXPECT_NE(ErrorLog().LastMessage(), "");
  EXPECT_TRUE(printed.starts_with("version:V1.0\niInitAppid:9\n")) << printed;
}

TEST_F(StartUpTest, WhatCouldNotBeOpenedForWantOfDescriptorsIsReadAgain) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer itself asks for a descriptor when it looks at an object";
#endif
  WriteDataFiles(kAppId, kHost);
  host.Write("conf.yaml", "vid: 7\n");
#ifdef _WIN32
  std::vector<platform::File> taken;
  while (platform::File file{std::fopen("NUL", "rb")}) taken.push_back(std::move(file));
  StartUp startUp = ReadStartUp(host.path, library.path);
  taken.clear();
#else
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  StartUp startUp = ReadStartUp(host.path, library.path);
  setrlimit(RLIMIT_NOFILE, &before);
#endif
  EXPECT_TRUE(startUp.Incomplete());
  EXPECT_FALSE(startUp.EndpointsKnown());
  startUp = Read(startUp);
  EXPECT_FALSE(startUp.Incomplete());
  EXPECT_EQ(startUp.settings.vid, 7U);
  EXPECT_EQ(startUp.appId + Servers(startUp), "0123456789svc.example:7000 svc.example:7000 ");

  // And nothing else is.
  WriteDataFiles(nullptr, nullptr);
  EXPECT_EQ(Servers(Read(startUp)), "svc.example:7000 svc.example:7000 ");
  EXPECT_EQ(printed, "");
  startUp.hostPortFile = StartUp::File::unread;
  startUp = Read(startUp);
  EXPECT_TRUE(printed.starts_with("version:V1.0\niInitIpPort:1\n")) << printed;
  EXPECT_FALSE(startUp.Incomplete());
}

}  // namespace
}  // namespace idcardreader
