#include "support/logs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "platform/files.h"
#include "support/eventually.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

constexpr char kPrefix[] = "2024:01:02|03:04:05|006|";

TEST(TextLog, WritesEachLineAtOnceAndAsItStands) {
  const struct {
    TextLog::Stamp stamp;
    const char* name;
  } rows[] = {{TextLog::Stamp::with_milliseconds, "20240102-030405006-Error.txt"},
              {TextLog::Stamp::without_milliseconds, "20240102-030405Error.txt"}};
  for (const auto& [stamp, name] : rows) {
    const TemporaryFolder folder;
    TestClock clock;
    TextLog log(folder.path / "later" / "LogData", stamp, clock);
    log.Log("lost, as there is no folder");
    std::filesystem::create_directory(folder.path / "later");
    for (const char* message : {"100% of %s%n", "", "\xD5\xFD\xB3\xA3"}) {
      log.Log(message);
      const auto lines = LinesOf(folder.path / "later/LogData" / name);
      ASSERT_FALSE(lines.empty());
      EXPECT_EQ(lines.back(), std::string(kPrefix) + message);
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
    EXPECT_FALSE(std::filesystem::exists(file));
    log.Switch(true);
    std::vector<std::string> expected;
    for (int line = 0; line < 200; ++line) {
      log.Log(std::to_string(line));
      EXPECT_TRUE(std::filesystem::exists(file)) << "from the first line on";
      expected.push_back(kPrefix + std::to_string(line));
    }
    EXPECT_TRUE(Eventually([&] { return LinesOf(file).size() == expected.size(); }));
    EXPECT_EQ(LinesOf(file), expected);
    log.Close();
    std::filesystem::remove(file);
    log.Log("in a new file");
    EXPECT_TRUE(Eventually([&] { return LinesOf(file).size() == 1; }));
  }
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace idcardreader
