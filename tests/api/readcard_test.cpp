// The command-line host: what it prints, where, and how it ends. Also what conf.yaml does, since that
// stands beside a program.

#include <sstream>

#include "host/child_process.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class ReadcardTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    CopyReadcard();
    desk.Put(kAnyCard);
  }

  void TearDown() override {
    HostTest::TearDown();
    folder.RemoveFile("conf.yaml");
    fs::remove_all(folder.Path() / "blocks");
  }

  ChildResult Run(const std::string& arguments) const {
    return RunProgram(folder.Path().string(), "readcard", arguments);
  }

  static std::vector<json> Documents(const std::string& output) {
    std::vector<json> documents;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) documents.push_back(json::parse(line));
    return documents;
  }
};

TEST_F(ReadcardTest, PrintsTheCardForPeople) {
  const ChildResult child = Run("");
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(child.errors, "");
  EXPECT_TRUE(
      child.output.starts_with("Card type      resident identity card\n"
                               "Name           周样本\n"
                               "Sex            男\n"
                               "Nation         蒙古\n"))
      << child.output;
  EXPECT_NE(child.output.find("\nValid until    长期\n"), std::string::npos);
  EXPECT_EQ(child.output.find("iInitAppid"), std::string::npos) << "the library's own lines";
}

TEST_F(ReadcardTest, ShowsTheLibrarysLinesOnTheErrorOutputWhenAskedTo) {
  const ChildResult child = Run("--verbose");
  EXPECT_EQ(child.status, 0);
  EXPECT_NE(child.errors.find("iInitAppid:9"), std::string::npos) << child.errors;
  EXPECT_EQ(child.output.find("iInitAppid"), std::string::npos);
  folder.WriteFile("conf.yaml", "# settings\ncanPrint: false\n");
  EXPECT_EQ(Run("--verbose").errors, "");
}

TEST_F(ReadcardTest, JsonHoldsTheFieldsInUtf8AndNothingElseIsPrinted) {
  const struct {
    const char* card;
    int type;
    json fields;  // some of them
  } rows[] = {
      {"resident", 1, {{"name", "周样本"}, {"validUntil", "长期"}, {"passNumber", ""}}},
      {"resident-rare-private", 1, {{"name", "陈\ue1a3一"}}},
      {"gat", 2, {{"name", "何通行"}, {"passNumber", "H00000001"}, {"nation", ""}}},
      {"yjzold", 3, {{"englishName", "SAMPLE,PERSONONE"}, {"countryCode", "CAN"}}},
      {"yjznew", 4, {{"englishName", "SPECIMEN,ALEXANDRAMARIAVONEXAMPLE"}, {"country", "德国 "}}}};
  for (const auto& row : rows) {
    desk.Put(row.card);
    const ChildResult child = Run("--json");
    EXPECT_EQ(child.status, 0);
    const std::vector<json> documents = Documents(child.output);
    ASSERT_EQ(documents.size(), 1u) << child.output;
    EXPECT_EQ(documents[0]["ok"], true);
    EXPECT_EQ(documents[0]["cardType"], row.type);
    EXPECT_EQ(documents[0]["dn"], devkit::ToHex(CardOf(row.card).dn));
    for (const auto& [key, text] : row.fields.items()) {
      EXPECT_EQ(documents[0]["fields"][key], text) << row.card << " " << key;
    }
  }
}

TEST_F(ReadcardTest, ReadsSeveralTimesAndSumsUp) {
  const ChildResult child = Run("--json --repeat 3");
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(Documents(child.output).size(), 3u);
  EXPECT_TRUE(child.errors.starts_with("3 reads: 3 succeeded, 0 failed;")) << child.errors;
}

TEST_F(ReadcardTest, WritesTheBlocksOfOneCardOnly) {
  EXPECT_EQ(Run("--files blocks").status, 0);
  EXPECT_EQ(folder.ReadBytes("blocks/text.bin"), ExpectedTextBlock(CardOf(kAnyCard)));
  EXPECT_EQ(folder.ReadBytes("blocks/photo.wlt"), ExpectedPhoto(CardOf(kAnyCard)));
  desk.Put("gat");
  EXPECT_EQ(Run("--files blocks").status, 0);
  EXPECT_EQ(folder.Files("blocks"), std::vector<std::string>{"photo.wlt"});
  EXPECT_EQ(folder.ReadBytes("blocks/photo.wlt"), ExpectedPhoto(CardOf("gat")));
}

TEST_F(ReadcardTest, EachFamilyOfFunctionsYieldsWhatItHandsOut) {
  const auto fieldsBy = [this](const std::string& family) {
    const std::vector<json> documents = Documents(Run("--json --interface " + family).output);
    return documents.size() == 1 ? documents[0]["fields"] : json("no document");
  };
  EXPECT_EQ(fieldsBy("cloud")["nation"], "蒙古");
  EXPECT_EQ(fieldsBy("legacy"), fieldsBy("cloud"));
  const json standard = fieldsBy("standard");
  EXPECT_EQ(standard["name"], "周样本");
  EXPECT_EQ(standard["sexCode"], "1");
  EXPECT_EQ(standard["nationCode"], "02");
  // The text block cuts what the fields hold whole.
  desk.Put("resident-long-name");
  EXPECT_EQ(fieldsBy("standard")["name"], "阿卜杜拉虚构买买提艾山江吐尔逊");
  EXPECT_EQ(fieldsBy("cloud")["name"], "阿卜杜拉虚构买买提艾山江吐尔逊示例样本甲乙");
  // And only resident cards have one.
  desk.Put("gat");
  EXPECT_EQ(fieldsBy("standard"), json::object());
  EXPECT_EQ(fieldsBy("legacy")["name"], "何通行");
}

TEST_F(ReadcardTest, TellsOfAFailureWithItsCodeAndWhatToDo) {
  desk.TakeCardAway();
  const ChildResult text = Run("");
  EXPECT_EQ(text.status, 1);
  EXPECT_EQ(text.output, "");
  EXPECT_TRUE(text.errors.starts_with("The card was not read (code 40): 读取DN码\nLay one card "))
      << text.errors;
  const ChildResult asJson = Run("--json");
  EXPECT_EQ(asJson.status, 1);
  ASSERT_EQ(Documents(asJson.output).size(), 1u);
  EXPECT_EQ(Documents(asJson.output)[0]["ok"], false);
  EXPECT_EQ(Documents(asJson.output)[0]["code"], 40);
}

TEST_F(ReadcardTest, WrongUsageAndAMissingLibraryEndWithTwo) {
  for (const char* arguments :
       {"--nonsense", "--repeat 0", "--interface none", "--library nowhere", "--serial nothing"}) {
    const ChildResult child = Run(arguments);
    EXPECT_EQ(child.status, 2) << arguments;
    EXPECT_EQ(child.output, "") << arguments;
    EXPECT_NE(child.errors, "") << arguments;
  }
  EXPECT_EQ(Run("--help").status, 0);
  for (const char* program : {"decode-service", "datafile"}) {
    const std::string staged = (StageFolder() / "bin" / program).string();
    EXPECT_EQ(RunProgram(folder.Path().string(), staged, "--nonsense").status, 2) << program;
  }
}

TEST_F(ReadcardTest, TellsItsVersionAndACommandsHelpTellsOfEveryOption) {
  EXPECT_EQ(Run("--version").output.find("readcard 2."), 0u);
  for (const char* command : {"watch", "uid", "beep"}) {
    EXPECT_NE(Run(std::string(command) + " --help").output.find("--json"), std::string::npos)
        << command;
  }
}

TEST_F(ReadcardTest, PrintsNumbersAndSoundsTheReader) {
  EXPECT_EQ(Run("uid").output, devkit::ToHex(CardOf(kAnyCard).uid) + "  identity card\n");
  desk.Put(kTypeACard);
  EXPECT_EQ(Run("uid").output, devkit::ToHex(CardOf(kTypeACard).uid) + "  other card, kind 4\n");
  EXPECT_EQ(Run("beep").status, 0);
  desk.Unplug();
  EXPECT_EQ(Run("beep").status, 1);
  EXPECT_EQ(Run("uid").status, 1);
}

#ifdef _WIN32
// Elsewhere the system loads hidapi together with the library.
TEST_F(ReadcardTest, HidapiMayLieBesideTheLibraryAndWithoutItTheReaderIsNotFound) {
  const fs::path program = folder.Path() / "program";
  fs::create_directories(program);
  fs::copy_file(folder.Path() / "readcard.exe", program / "readcard.exe",
                fs::copy_options::skip_existing);
  fs::copy_file(folder.Library(), program / "idcardreader.dll", fs::copy_options::skip_existing);
  const auto run = [&](const char* arguments) {
    return RunProgram(program.string(), "readcard", arguments);
  };
  EXPECT_EQ(run("--library ..\\idcardreader.dll").status, 0) << "of the folder above";
  const std::vector<json> documents = Documents(run("--json").output);
  ASSERT_EQ(documents.size(), 1u);
  EXPECT_EQ(documents[0]["code"], 27);
  ASSERT_EQ(folder.Files("program/errordata").size(), 1u);
  const std::string log =
      folder.ReadFile(fs::path("program/errordata") / folder.Files("program/errordata")[0]);
  const std::size_t line = log.find("hidapi.dll: (126) ");
  ASSERT_NE(line, std::string::npos) << log;
  EXPECT_NE(log.find(Gbk("读卡(未找到设备)"), line), std::string::npos) << log;
  fs::remove_all(program);
}
#else
// Only here is there a program to interrupt another one.
TEST_F(ReadcardTest, WatchPrintsEachCardOnceUntilItIsInterrupted) {
  folder.WriteFile("watch", "#!/bin/sh\n./readcard watch --json &\necho $! >pid\nwait $!\n");
  fs::permissions(folder.Path() / "watch", fs::perms::owner_all);
  std::future<ChildResult> watch = std::async(
      std::launch::async, [this] { return RunProgram(folder.Path().string(), "watch", ""); });
  const auto uploads = [this](std::size_t cards) {
    return service->WaitForReceived(7 * cards, std::chrono::seconds(10));
  };
  EXPECT_TRUE(uploads(1));
  desk.Put("gat");
  EXPECT_TRUE(uploads(2));
  std::this_thread::sleep_for(milliseconds(300));  // it stays and is not read again
  std::system(("kill -INT " + folder.ReadFile("pid")).c_str());
  const ChildResult child = watch.get();
  EXPECT_EQ(child.status, 0) << child.errors;
  const std::vector<json> documents = Documents(child.output);
  ASSERT_EQ(documents.size(), 2u) << child.output << child.errors;
  EXPECT_EQ(documents[0]["fields"]["name"], "周样本");
  EXPECT_EQ(documents[1]["fields"]["name"], "何通行");
}
#endif

TEST_F(ReadcardTest, KeepsTheSerialPortInTheConfiguration) {
  folder.WriteFile("conf.yaml", "canLog: false\ncomname: /dev/old\n");
  const ChildResult child = Run("--serial COM998");
  EXPECT_EQ(child.status, 1);
  EXPECT_NE(child.errors.find("code 48"), std::string::npos) << child.errors;
  EXPECT_EQ(folder.ReadFile("conf.yaml"), "# settings of the reader\ncanLog: false\ncomnum: 998\n");
}

// A reader that is not there is looked for when that is heeded; to hidapi an id of zero would be any
// device.
TEST_F(ReadcardTest, TheReaderAndTheLogsOfTheConfigurationAreUsed) {
  for (const char* reader : {"vid: 4660", "pid: 0x0102"}) {
    folder.WriteFile("conf.yaml", std::string("# reader\r\n") + reader + "\r\n");
    const std::vector<json> documents = Documents(Run("--json").output);
    ASSERT_EQ(documents.size(), 1u);
    EXPECT_EQ(documents[0].value("code", 0), 27) << reader;
  }
  folder.WriteFile("conf.yaml", "# settings\ncanLog: True\n");
  EXPECT_EQ(Run("").status, 0);
  EXPECT_TRUE(folder.Files("logdata").empty());
  folder.WriteFile("conf.yaml", "# settings\ncanLog: true\n");
  EXPECT_EQ(Run("").status, 0);
  EXPECT_EQ(folder.Files("logdata").size(), 2u);
}

}  // namespace
}  // namespace hosttest
