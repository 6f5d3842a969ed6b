// The command-line host: what it prints, where, and how it ends. Also what conf.yaml does, since that
// stands beside a program, and what becomes of programs beside each other and at their ends.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "host/child_process.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

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

  // The one document of a run with --json.
  json Document(const std::string& arguments = "") const {
    const ChildResult child = Run("--json " + arguments);
    const json document = json::parse(child.output);
    EXPECT_EQ(child.status, document["ok"] == true ? 0 : 1);
    return document;
  }
};

TEST_F(ReadcardTest, PrintsForPeopleAndEndsWithItsStatus) {
  const std::string number = devkit::ToHex(CardOf(kAnyCard).uid);
  const std::string otherNumber = devkit::ToHex(CardOf(kTypeACard).uid);
  const struct {
    const char* card;  // null: none
    const char* arguments;
    int status;
    std::string output, errors;  // begin so; empty: nothing is printed there
  } rows[] = {{kAnyCard, "", 0,
               "Card type      resident identity card\nName           周样本\nSex            男\n"
               "Nation         蒙古\n"},
              {kAnyCard, "uid", 0, number + "  identity card\n"},
              {kTypeACard, "uid", 0, otherNumber + "  other card, kind 4\n"},
              {kAnyCard, "beep", 0, "The reader"},
              {kAnyCard, "--version", 0, "readcard 2."},
              {kAnyCard, "--help", 0, "Reads the identity card"},
              {kAnyCard, "--json --repeat 3", 0, "{", "3 reads: 3 succeeded, 0 failed;"},
              {kAnyCard, "--verbose", 0, "Card type", "version:V1.0\niInitAppid:9"},
              {nullptr, "", 1, "", "The card was not read (code 40): 读取DN码\nLay one card "},
              {kAnyCard, "--nonsense", 2, "", "The following argument"},
              {kAnyCard, "--repeat 0", 2, "", "--repeat"},
              {kAnyCard, "--interface none", 2, "", "--interface"},
              {kAnyCard, "--library nowhere", 2, "", "The library"},
              {kAnyCard, "--serial nothing", 2, "", "nothing is no serial port"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    row.card != nullptr ? desk.Put(row.card) : desk.TakeCardAway();
    const ChildResult child = Run(row.arguments);
    EXPECT_EQ(child.status, row.status);
    EXPECT_THAT(child.output, StartsWith(row.output));
    EXPECT_THAT(child.errors, StartsWith(row.errors));
    EXPECT_EQ(child.output.empty(), row.output.empty());
    EXPECT_EQ(child.errors.empty(), row.errors.empty()) << child.errors;
    EXPECT_EQ(child.output.find("iInitAppid"), std::string::npos) << "the library's own lines";
  }
  for (const char* command : {"watch", "uid", "beep"}) {
    EXPECT_THAT(Run(std::string(command) + " --help").output, HasSubstr("--json")) << command;
  }
  for (const char* program : {"decode-service", "datafile"}) {
    const std::string staged = (StageFolder() / "bin" / program).string();
    EXPECT_EQ(RunProgram(folder.Path().string(), staged, "--nonsense").status, 2) << program;
  }
  desk.Unplug();
  for (const char* command : {"beep", "uid"}) EXPECT_EQ(Run(command).status, 1);
}

TEST_F(ReadcardTest, JsonHoldsWhatTheFamilyOfFunctionsYieldsInUtf8AndNothingElseIsPrinted) {
  constexpr char kCloud[] = "", kLegacy[] = "--interface legacy";
  // The text block holds codes, and cuts what the fields hold whole; only resident cards have one.
  constexpr char kStandard[] = "--interface standard";
  const struct {
    const char* card;
    const char* arguments;
    int type;     // 0: it is not told
    json fields;  // some of them
  } rows[] = {
      {"resident", kCloud, 1, {{"name", "周样本"}, {"validUntil", "长期"}, {"passNumber", ""}}},
      {"resident", kLegacy, 1, {{"nation", "蒙古"}, {"validUntil", "长期"}}},
      {"resident", kStandard, 0, {{"name", "周样本"}, {"sexCode", "1"}, {"nationCode", "02"}}},
      {"resident-rare-private", kCloud, 1, {{"name", "陈\ue1a3一"}}},
      {"resident-long-name", kStandard, 0, {{"name", "阿卜杜拉虚构买买提艾山江吐尔逊"}}},
      {"gat", kCloud, 2, {{"name", "何通行"}, {"passNumber", "H00000001"}, {"nation", ""}}},
      {"gat", kStandard, 0, json::object()},
      {"yjzold", kCloud, 3, {{"englishName", "SAMPLE,PERSONONE"}, {"countryCode", "CAN"}}},
      {"yjznew", kCloud, 4, {{"country", "德国 "}}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.card) + row.arguments);
    desk.Put(row.card);
    json document = Document(row.arguments);
    EXPECT_EQ(document.value("cardType", 0), row.type);
    EXPECT_TRUE(row.arguments != kCloud || document["dn"] == devkit::ToHex(CardOf(row.card).dn));
    EXPECT_EQ(document["fields"].empty(), row.fields.empty());
    for (const auto& [key, text] : row.fields.items()) {
      EXPECT_EQ(document["fields"][key], text) << key;
    }
  }
}

TEST_F(ReadcardTest, WritesTheBlocksOfOneCardOnly) {
  for (const char* card : {kAnyCard, "gat"}) {
    desk.Put(card);
    EXPECT_EQ(Run("--files blocks").status, 0);
    EXPECT_EQ(folder.ReadBytes("blocks/text.bin"), ExpectedTextBlock(CardOf(card)));
    EXPECT_EQ(folder.ReadBytes("blocks/photo.wlt"), ExpectedPhoto(CardOf(card)));
    EXPECT_EQ(folder.Files("blocks").size(), card == kAnyCard ? 2u : 1u);
  }
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
  EXPECT_THAT(run("--json").output, HasSubstr("\"code\":27"));
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
  folder.WriteFile("watch", "#!/bin/sh\necho $$ >pid\nexec ./readcard watch --json\n");
  fs::permissions(folder.Path() / "watch", fs::perms::owner_all);
  std::future<ChildResult> watch = std::async(
      std::launch::async, [this] { return RunProgram(folder.Path().string(), "watch", ""); });
  const auto printed = [this](std::ptrdiff_t lines) {
    return Eventually([&] {
      const std::string output = folder.ReadFile("child.out");
      return std::count(output.begin(), output.end(), '\n') == lines;
    });
  };
  EXPECT_TRUE(printed(1));
  desk.Put("gat");
  EXPECT_TRUE(printed(2));
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

TEST_F(ReadcardTest, TheConfigurationBesideTheProgramIsUsedAndKeepsTheSerialPort) {
  // A reader that is not there is looked for when that is heeded; to hidapi an id of zero would be
  // any device.
  for (const char* reader : {"vid: 4660", "pid: 0x0102"}) {
    folder.WriteFile("conf.yaml", std::string("# reader\r\n") + reader + "\r\n");
    EXPECT_EQ(Document()["code"], 27) << reader;
  }
  for (const auto& [value, files] : {std::pair{"True", 0u}, {"true", 2u}}) {
    folder.WriteFile("conf.yaml", std::string("# settings\ncanPrint: false\ncanLog: ") + value);
    EXPECT_EQ(Run("--verbose").errors, "");
    EXPECT_EQ(folder.Files("logdata").size(), files);
  }
  folder.WriteFile("conf.yaml", "canLog: false\ncomname: /dev/old\n");
  EXPECT_EQ(Document("--serial COM998")["code"], 48);
  EXPECT_EQ(folder.ReadFile("conf.yaml"), "# settings of the reader\ncanLog: false\ncomnum: 998\n");
}

// What the library names stays in its process. The other has a folder with a program, a library and
// a reader of its own, on whose desk a card lies.
TEST_F(ReadcardTest, TwoProgramsReadAtTheSameTimeAndDoNotDisturbEachOther) {
  const devkit::Card card = CardOf("yjznew");
  const fs::path other = folder.Path() / "other";
  fs::create_directory(other);
  for (const auto& entry : fs::directory_iterator(folder.Path())) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), other / entry.path().filename());
  }
  const fs::path file = SourceFolder() / "devkit" / "cards" / "yjznew.json";
  folder.WriteFile("other/virtual-reader.json", json{{"card", file.generic_string()}}.dump());
  ServiceMisbehaves({{"latency", {{"exchange", 20}}}});  // so that they meet
  std::future<ChildResult> running = std::async(std::launch::async, [&other] {
    return RunProgram(other.string(), "readcard", "--json --repeat 10");
  });
  do {
    ExpectGoodRead(kAnyCard);
  } while (running.wait_for(milliseconds(0)) != std::future_status::ready);
  int changes = 0;  // of the card that the service is asked about
  std::string last;
  for (const auto& message : service->Received()) {
    changes += std::exchange(last, message.card) != message.card ? 1 : 0;
  }
  EXPECT_GT(changes, 20) << "the two have not met";
  const ChildResult child = running.get();
  EXPECT_EQ(child.status, 0) << child.errors;
  const std::vector<json> documents = Documents(child.output);
  EXPECT_EQ(documents.size(), 10u);
  for (const json& document : documents) EXPECT_EQ(document["dn"], devkit::ToHex(card.dn));
  fs::remove_all(other);
}

void ExpectGoodExits(int count) {
  const std::string library = RunFolder::Get().Library().string();
  for (int round = 0; round < count; ++round) {
    const ChildResult child = RunProgram(HOST_PROGRAMS, "exiting_host", library);
    ASSERT_EQ(child.status, 0) << round << " " << child.errors;
  }
}

TEST(ProcessExit, TakesNothingFromThreadsThatStillCall) {
#ifdef _WIN32
  ExpectGoodExits(8);
#else
  ExpectGoodExits(60);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // A library that is loaded before the program begins is ended in another order.
  setenv("LD_PRELOAD", RunFolder::Get().Library().c_str(), 1);
  ExpectGoodExits(60);
  unsetenv("LD_PRELOAD");
#endif
#endif
}

}  // namespace
}  // namespace hosttest
