#include "support/logs.h"

#include <gtest/gtest.h>

#include "support/eventually.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

namespace fs = std::filesystem;
constexpr char kPrefix[] = "2024:01:02|03:04:05|006|";

TEST(TextLog, WritesEachLineAtOnceAndAsItStands) {
  using Stamp = TextLog::Stamp;
  for (const auto& [stamp, name] :
       {std::pair{Stamp::with_milliseconds, "LogData/20240102-030405006-Error.txt"},
        {Stamp::without_milliseconds, "LogData/20240102-030405Error.txt"}}) {
    const TemporaryFolder folder;
    TestClock clock;
    TextLog log(folder.path / "later" / "LogData", stamp, clock);
    log.Log("lost, as there is no folder");
    fs::create_directory(folder.path / "later");
    std::vector<std::string> expected;
    for (const char* message : {"100% of %s%n", "", "\xD5\xFD\xB3\xA3"}) {
      log.Log(message);
      expected.push_back(std::string(kPrefix) + message);
      EXPECT_EQ(LinesOf(folder.path / "later" / name), expected);
    }
  }
}

TEST(ActivityLog, KeepsTheOrderOnceItIsOn) {
  TestClock clock;
  const std::string mark = std::to_string(std::random_device{}());  // in the name of the file
  const auto file = platform::LibraryFolder() / "logdata" / ("20240102-030405006-" + mark + ".txt");
  {
    ActivityLog log(mark, clock);
    log.Log("nothing yet");
    EXPECT_FALSE(fs::exists(file));
    log.Switch(true);
    std::vector<std::string> expected;
    for (int line = 0; line < 200; ++line) {
      log.Log(std::to_string(line));
      EXPECT_TRUE(fs::exists(file)) << "from the first line on";
      expected.push_back(kPrefix + std::to_string(line));
    }
    EXPECT_TRUE(Eventually([&] { return LinesOf(file) == expected; }));
    log.Close();
    fs::remove(file);
    log.Log("in a new file");
    EXPECT_TRUE(Eventually([&] { return LinesOf(file).size() == 1; }));
  }
  fs::remove(file);
}

}  // namespace
}  // namespace idcardreader
