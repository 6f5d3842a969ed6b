// Which log files a read leaves, and what they must not hold.

#include <algorithm>
#include <regex>
#include <sstream>

#include "host/host_test.h"

namespace hosttest {
namespace {

class LogsTest : public HostTest {
 protected:
  std::vector<std::string> FilesLike(const std::string& subfolder, const char* pattern) const {
    std::vector<std::string> matching;
    for (const std::string& name : folder.Files(subfolder)) {
      if (std::regex_match(name, std::regex(pattern))) matching.push_back(name);
    }
    return matching;
  }

  // Everything that any of the log folders holds.
  std::string AllLogs() const {
    std::string all;
    for (const char* subfolder : {"logdata", "LogData", "errordata"}) {
      for (const std::string& name : folder.Files(subfolder)) all += ContentOf(subfolder, name);
    }
    return all;
  }

  // The error log's messages without their time, but for the one that tells of a missing conf.yaml:
  // the test program has none.
  std::vector<std::string> ErrorMessages() const {
    std::vector<std::string> messages;
    for (const std::string& name : FilesLike("errordata", kErrorLog)) {
      std::istringstream lines(ContentOf("errordata", name));
      for (std::string line; std::getline(lines, line);) {
        std::string message = line.substr(std::min(line.size(), kTimeLength));
        if (!message.empty() && message.back() == '\r') message.pop_back();
        if (!message.starts_with(Gbk("打开配置文件失败，路径："))) messages.push_back(message);
      }
    }
    return messages;
  }

  std::string ContentOf(const std::string& subfolder, const std::string& name) const {
    return folder.ReadFile(std::filesystem::path(subfolder) / name);
  }

  static constexpr std::size_t kTimeLength = sizeof("2024:01:02|03:04:05|006|") - 1;
  static constexpr char kReaderLog[] = R"(\d{8}-\d{9}-Reader\.txt)";
  static constexpr char kServerLog[] = R"(\d{8}-\d{9}-Server\.txt)";
  static constexpr char kErrorLog[] = R"(\d{8}-\d{9}-Error\.txt)";
  static constexpr char kDataFileLog[] = R"(\d{8}-\d{6}Error\.txt)";
};

TEST_F(LogsTest, SwitchedOnReaderAndServerWriteOneFileEach) {
  EXPECT_EQ(library->readCardLog(1), 1);
  ExpectGoodRead(kAnyCard);
  // Entries are written by a thread of the log's own, the last of a read a little later.
  const auto readerLogIsWhole = [this] {
    const auto files = FilesLike("logdata", kReaderLog);
    return files.size() == 1 &&
           ContentOf("logdata", files[0]).find("read_sfz   END   Sucess") != std::string::npos;
  };
  EXPECT_TRUE(Eventually(readerLogIsWhole, std::chrono::seconds(5)));
  EXPECT_EQ(FilesLike("logdata", kServerLog).size(), 1u);
  EXPECT_EQ(ErrorMessages(), std::vector<std::string>());

  library->CloseComm();
  const std::regex line(R"(\d{4}:\d\d:\d\d\|\d\d:\d\d:\d\d\|\d{3}\|[^]*)");
  for (const std::string& name : FilesLike("logdata", ".*-(Reader|Server)\\.txt")) {
    std::istringstream lines(ContentOf("logdata", name));
    std::string first;
    ASSERT_TRUE(std::getline(lines, first)) << name;
    EXPECT_TRUE(std::regex_match(first, line)) << name << ": " << first;
  }
}

TEST_F(LogsTest, SwitchedOffNothingOfACardIsWritten) {
  const devkit::Card card = CardOf(kAnyCard);
  EXPECT_EQ(library->readCardLog(0), 1);
  ExpectGoodRead(kAnyCard);
  library->CloseComm();
  EXPECT_EQ(ErrorMessages(), std::vector<std::string>());
  EXPECT_TRUE(FilesLike("logdata", kReaderLog).empty());
  EXPECT_TRUE(FilesLike("logdata", kServerLog).empty());
  const std::string logs = AllLogs();
  EXPECT_EQ(logs.find(card.Field("id")), std::string::npos);
  EXPECT_EQ(logs.find(Gbk(card.Field("name"))), std::string::npos);
  EXPECT_EQ(logs.find(devkit::ToHex(card.dn)), std::string::npos);
}

TEST_F(LogsTest, AFailureIsInTheErrorLogAlsoWhenLoggingIsOff) {
  desk.TakeCardAway();
  EXPECT_EQ(Read().result, 0);
  EXPECT_EQ(FilesLike("errordata", kErrorLog).size(), 1u);
  const std::vector<std::string> messages = ErrorMessages();
  ASSERT_FALSE(messages.empty());
  EXPECT_NE(std::find(messages.begin(), messages.end(), Gbk("第二次重试DN")), messages.end());
  EXPECT_EQ(messages.back(), Gbk("读取DN码"));
  EXPECT_TRUE(FilesLike("logdata", kReaderLog).empty());
}

TEST_F(LogsTest, AMissingDataFileIsToldInBothLogs) {
  folder.RemoveFile("appid.dat");
  library->readCardLog(0);
  const std::vector<std::string> messages = ErrorMessages();
  EXPECT_NE(std::find(messages.begin(), messages.end(), Gbk("打开appid文件失败")), messages.end());
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.back(), "Read Appid File Fail!");
  const auto dataFileLogs = FilesLike("LogData", kDataFileLog);
  ASSERT_EQ(dataFileLogs.size(), 1u);
  EXPECT_NE(ContentOf("LogData", dataFileLogs[0]).find(Gbk("打开appid文件失败")),
            std::string::npos);
}

TEST_F(LogsTest, LastErrorIsTheTextOfTheCodeAndTheLastLineOfTheErrorLog) {
  desk.TakeCardAway();
  EXPECT_EQ(Read().result, 0);
  EXPECT_EQ(LastError(), Gbk("读取DN码读取DN码"));
  // A success empties it, also what the log's last line was.
  ExpectGoodRead(kAnyCard);
  library->readCardStop();
  EXPECT_EQ(LastError(), "");
}

}  // namespace
}  // namespace hosttest
