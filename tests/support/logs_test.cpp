#include "support/logs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "support/eventually.h"
#include "support/logged_lines.h"
#include "support/redirected_output.h"
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
    EXPECT_EQ(log.LastMessage(), "lost, as there is no folder");
    std::filesystem::create_directory(folder.path / "later");
    for (const char* message : {"100% of %s%n", "", "\xD5\xFD\xB3\xA3"}) {
      log.Log(message);
      const auto lines = LinesOf(folder.path / "later/LogData" / name);
      ASSERT_FALSE(lines.empty());
      EXPECT_EQ(lines.back(), std::string(kPrefix) + message);
      EXPECT_EQ(log.LastMessage(), message);
    }
    log.ClearLastMessage();
    EXPECT_EQ(log.LastMessage(), "");
  }
}

TEST(ProcessLogs, TakeWholeLinesFromManyThreads) {
  const LoggedLines errors;
  std::vector<std::thread> threads;
  for (const char name : {'a', 'b', 'c'}) {
    threads.emplace_back([name] {
      for (int line = 0; line < 50; ++line) ErrorLog().Log(std::string(100, name));
    });
  }
  for (std::thread& thread : threads) thread.join();
  const auto lines = errors.Get();
  EXPECT_EQ(lines.size(), 150U);
  for (const std::string& line : lines) EXPECT_EQ(line, std::string(100, line.front()));
}

TEST(ActivityLog, KeepsTheOrderOnceItIsOn) {
  TestClock clock;
  const std::string mark = UniqueMark();  // in the name of the file as well
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
    log.Log("in a new writer");
    EXPECT_TRUE(Eventually([&] { return LinesOf(file).size() == 201; }));
  }
  std::filesystem::remove(file);
}

TEST(Console, PrintsLinesUnlessItIsSwitchedOff) {
  Pipe pipe;
  const RedirectedOutput redirected(pipe.write);
  SwitchPrinting(false);
  PrintLine("off");
  SwitchPrinting(true);
  PrintLine("on");
  EXPECT_EQ(pipe.ReadUntil("\n"), "on\n");
}

}  // namespace
}  // namespace idcardreader
