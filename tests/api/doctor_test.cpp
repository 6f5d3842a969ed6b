// `readcard doctor`: each broken installation is told by a line of its own, and nothing is changed.

#include <gmock/gmock.h>

#include <fstream>

#include "host/child_process.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

constexpr int kWell = 0, kWarning = 1, kFault = 2;

class DoctorTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    CopyReadcard();
    desk.Put(kAnyCard);
  }
  void TearDown() override {
    fs::remove_all(folder.Path() / "hostport.dat");
    HostTest::TearDown();
    folder.RemoveFile("conf.yaml");
  }

  // Names of all findings but those that are well, the word that this is the virtual reader, and
  // that other hosts are at work: tests that run beside this one are.
  std::vector<std::string> Complaints(int status, const std::string& arguments = "") const {
    const ChildResult child =
        RunProgram(folder.Path().string(), "readcard", "doctor --json --lang en " + arguments);
    EXPECT_EQ(child.status, std::max(status, kWarning)) << child.output;
    const json report = json::parse(child.output);
    EXPECT_EQ(report["status"], child.status);
    std::vector<std::string> names;
    for (const json& finding : report["findings"]) {
      if (finding["level"] == "ok" || finding["name"] == "hidapi.virtual") continue;
      if (finding["name"] == "events" && otherHosts == OtherHosts::passedOver) continue;
      EXPECT_FALSE(finding["cause"].get<std::string>().empty());
      EXPECT_FALSE(finding["cure"].get<std::string>().empty());
      names.push_back(finding["name"]);
    }
    return names;
  }

  enum class OtherHosts { passedOver, told } otherHosts = OtherHosts::passedOver;

  // Everything in the folder, the reader's own word aside.
  std::map<std::string, std::string> AllFiles() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path())) {
      const std::string name = entry.path().filename().string();
      if (entry.is_regular_file() && name != "virtual-reader.json.log") {
        files[entry.path().string()] = devkit::ReadTextFile(entry.path()).value();
      } else if (entry.is_directory()) {
        files[entry.path().string()] = "folder";
      }
    }
    return files;
  }
};

TEST_F(DoctorTest, HasNothingToSayAboutAGoodInstallationAndChangesNothing) {
  const auto before = AllFiles();
  EXPECT_THAT(Complaints(kWell), testing::IsEmpty());
  EXPECT_EQ(AllFiles(), before);
  for (const auto& [language, words] :
       {std::pair("en", "ok      Login to the decode service: 127.0.0.1:"),
        {"zh", "正常  登录解码服务: "}}) {
    const ChildResult child =
        RunProgram(folder.Path().string(), "readcard", std::string("doctor --lang ") + language);
    EXPECT_THAT(child.output, HasSubstr(words));
    EXPECT_EQ(child.output.find("test-application"), std::string::npos) << "the application id";
  }
}

TEST_F(DoctorTest, TellsEachCauseThatNoServiceIsReachedOrLetsIn) {
  const fs::path appId = folder.Path() / "appid.dat";
  const fs::path hostPort = folder.Path() / "hostport.dat";
  const struct {
    const char* finding;
    std::function<void()> spoil;
  } rows[] = {
      {"appid.missing", [&] { fs::remove(appId); }},
      {"appid.unreadable", [&] { folder.WriteFile("appid.dat", ""); }},
      {"appid.unreadable", [&] { folder.WriteFile("appid.dat", "appid=app001\n"); }},
      {"hostport.missing", [&] { fs::remove(hostPort); }},
      {"hostport.unreadable", [&] { folder.WriteFile("hostport.dat", "127.0.0.1:9999\n"); }},
      {"hostport.irregular",
       [&] {
         fs::remove(hostPort);
         fs::create_directory(hostPort);
       }},
      {"hostport.malformed",
       [&] {
         devkit::WriteDataFile(hostPort, {{"ipport", "ipport=127.0.0.1:70000"}});
       }},
      {"service.name", [&] { WriteDataFiles({"decode.example.invalid:9999"}); }},
      {"service.connect", [&] { StopService(); }},
      {"service.refused", [&] { ServiceMisbehaves(FaultAt("login", "refuse")); }},
      {"service.silent", [&] { ServiceMisbehaves(FaultAt("login", "drop")); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.finding);
    row.spoil();
    EXPECT_THAT(Complaints(kFault), Contains(row.finding));
    fs::remove_all(hostPort);
    if (!service) StartService();
    ServiceBehaves();
    WriteDataFiles();
  }
}

TEST_F(DoctorTest, TellsWhyThereIsNoReaderOrItDoesNotOpen) {
  desk.Unplug();
  EXPECT_THAT(Complaints(kFault), Contains("reader.missing"));
  desk.Plug();
  folder.WriteFile("conf.yaml", "# ids\nvid: 49686\npid: 259\n");
  EXPECT_THAT(Complaints(kFault), Contains("reader.missing"));
  folder.WriteFile("conf.yaml", "# ids\nvid: 0xC216\n");
  EXPECT_THAT(Complaints(kFault), testing::ElementsAre("conf.zero", "reader.ids-zero"));
  folder.RemoveFile("conf.yaml");
  desk.Misbehave(FaultAt("open", "no-device"));
  EXPECT_THAT(Complaints(kFault), Contains("reader.held"));
  desk.Misbehave(FaultAt("version", "drop"));
  EXPECT_THAT(Complaints(kFault), Contains("reader.silent"));
  desk.Behave();
  EXPECT_THAT(Complaints(kFault, "--serial COM998"), Contains("serial.open"));
  EXPECT_EQ(folder.ReadFile("conf.yaml"), "") << "nothing is kept";
  EXPECT_THAT(Complaints(kFault, "--library nowhere"), testing::ElementsAre("library.missing"));
}

TEST_F(DoctorTest, TellsWhatASettingDoesNotDo) {
  const struct {
    const char* finding;
    int status;
    std::string conf;
  } rows[] = {{"conf.first-line", kFault, "canLog: true\ncomnum: 3\n"},
              {"conf.unknown-key", kWarning, "# c\ncanlog: true\n"},
              {"conf.blanks", kWarning, "# c\n canPrint: false\n"},
              {"conf.blanks", kWarning, "# c\ncanPrint: false \n"},
              {"conf.switch", kWarning, "# c\ncanPrint: False\n"},
              {"conf.separator", kFault, "# c\ncanPrint:false\n"},
              {"conf.separator", kFault, "# c\ncanPrint:\tfalse\n"},
              {"conf.zero", kWarning, "# c\ncomport: \"9600\"\n"},
              {"conf.number", kWarning, "# c\ncomport: 9600 baud\n"},
              {"conf.range", kFault, "# c\ncomnum: 1000\n"},
              {"conf.repeated-key", kWarning, "# c\ncomnum: 3\ncomnum: 4\n"},
              {"conf.long-line", kWarning, "# " + std::string(1100, 'c') + "\ncomnum: 3\n"},
              {"conf.encoding-mark", kFault, "\xEF\xBB\xBF# c\ncomnum: 3\n"},
              {"logs.on", kWarning, "# c\ncanLog: true\n"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.conf.substr(0, 40));
    folder.WriteFile("conf.yaml", row.conf);
    EXPECT_THAT(Complaints(row.status), Contains(row.finding));
  }
  for (const char* good : {"canPrint: false\n", "# c\r\nvid: 49686\r\ncomname: /dev/ttyUSB0\r\n"}) {
    folder.WriteFile("conf.yaml", good);
    EXPECT_THAT(Complaints(kWell), testing::IsEmpty()) << good;
  }
}

TEST_F(DoctorTest, TellsOfLogsThatCannotBeWrittenAreLeftOrLarge) {
  fs::create_directory(folder.Path() / "logdata");
  folder.WriteFile("logdata/20260101-000000000-Reader.txt", "somebody");
  EXPECT_THAT(Complaints(kWarning), testing::ElementsAre("logs.left"));
  fs::remove_all(folder.Path() / "logdata");
  fs::create_directory(folder.Path() / "errordata");
  folder.WriteFile("errordata/large.txt", "");
  fs::resize_file(folder.Path() / "errordata" / "large.txt", 101ULL << 20U);
  EXPECT_THAT(Complaints(kWarning), testing::ElementsAre("logs.large"));
  fs::remove_all(folder.Path() / "errordata");
}

#ifdef _WIN32
TEST_F(DoctorTest, TellsOfAnotherHostAtWork) {
  otherHosts = OtherHosts::told;
  ASSERT_EQ(Read().result, 1);
  EXPECT_THAT(Complaints(kWarning), Contains("events"));
}
#endif

}  // namespace
}  // namespace hosttest
