// Which log files a read leaves, and what they must not hold.

#include <gmock/gmock.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "host/host_test.h"

namespace hosttest {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class LogsTest : public HostTest {
 protected:
  // The names of all files of the folder, each with a blank behind it.
  void ExpectFiles(const char* subfolder, const char* pattern) const {
    std::string names;
    for (const std::string& name : folder.Files(subfolder)) names += name + ' ';
    EXPECT_TRUE(std::regex_match(names, std::regex(pattern))) << names;
  }

  // The messages of the logs in a folder without their time, but for the one that tells of a missing
  // conf.yaml: the test program has none.
  std::vector<std::string> Messages(const char* subfolder = "errordata") const {
    std::vector<std::string> messages;
    std::istringstream lines(folder.AllOf(subfolder));
    for (std::string line; std::getline(lines, line);) {
      std::string message = line.substr(std::min(line.size(), kTimeLength));
      if (message.ends_with('\r')) message.pop_back();
      if (!message.starts_with(Gbk("打开配置文件失败，路径："))) messages.push_back(message);
    }
    return messages;
  }

  static constexpr std::size_t kTimeLength = sizeof("2024:01:02|03:04:05|006|") - 1;
};

TEST_F(LogsTest, SwitchedOnReaderAndServerWriteOneFileEachAndSwitchedOffNothingOfACard) {
  const devkit::Card card = CardOf(kAnyCard);
  EXPECT_EQ(library->readCardLog(0), 1);
  ExpectGoodRead(kAnyCard);
  library->CloseComm();
  ExpectFiles("logdata", "");
  EXPECT_THAT(folder.AllOf("LogData"), Not(HasSubstr(card.Field("id"))));

  EXPECT_EQ(library->readCardLog(1), 1);
  ExpectGoodRead(kAnyCard);
  // A thread of the log's own writes it.
  EXPECT_TRUE(Eventually(
      [this] { return testing::Value(Messages("logdata"), Contains("read_sfz   END   Sucess")); }));
  ExpectFiles("logdata", R"(\d{8}-\d{9}-Reader\.txt \d{8}-\d{9}-Server\.txt )");
  const std::regex line(R"(\d{4}:\d\d:\d\d\|\d\d:\d\d:\d\d\|\d{3}\|)");
  for (const std::string& name : folder.Files("logdata")) {
    const std::string text = folder.ReadFile("logdata/" + name);
    EXPECT_TRUE(std::regex_search(text, line, std::regex_constants::match_continuous)) << name;
  }
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(LogsTest, AFailureIsInTheErrorLogAlsoWhenLoggingIsOff) {
  // The system's cause stands before the code, since the last message counts as the error's text.
  desk.Misbehave(FaultAt("open", "no-device"));
  EXPECT_EQ(Read().result, 0);
  const std::string text = library->readCardErrorInfo(28);
  EXPECT_EQ(Messages(), (std::vector<std::string>{"the virtual reader cannot be opened", text}));
  desk.Behave();
  desk.TakeCardAway();
  EXPECT_EQ(Read().result, 0);
  ExpectFiles("errordata", R"(\d{8}-\d{9}-Error\.txt )");
  ExpectFiles("logdata", "");
  EXPECT_THAT(Messages(), Contains(Gbk("第二次重试DN")));
  EXPECT_EQ(Messages().back(), Gbk("读取DN码"));
  // A success empties the last error, also what the log's last line was.
  ExpectGoodRead(kAnyCard);
  library->readCardStop();
  EXPECT_EQ(LastError(), "");
  // A data file that is missing is told in both logs.
  library->CloseComm();
  folder.RemoveFile("appid.dat");
  library->readCardLog(0);
  EXPECT_THAT(Messages(), Contains(Gbk("打开appid文件失败")));
  EXPECT_EQ(Messages().back(), "Read Appid File Fail!");
  ExpectFiles("LogData", R"(\d{8}-\d{6}Error\.txt )");
  EXPECT_THAT(folder.AllOf("LogData"), HasSubstr(Gbk("打开appid文件失败")));
}

}  // namespace
}  // namespace hosttest
