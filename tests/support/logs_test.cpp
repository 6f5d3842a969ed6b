#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "support/activity_log.h"
#include "support/activity_writer.h"
#include "support/logged_lines.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;

constexpr char kPrefix[] = "2024:01:02|03:04:05|006|";

TEST(TextLog, WritesEachLineAtOnceAndAsItStands) {
  const TemporaryFolder folder;
  TestClock clock;
  TextLog log(folder.path, TextLog::Stamp::with_milliseconds, clock);
  for (const char* message : {"100% of %s%n", "", "\xD5\xFD\xB3\xA3"}) {
    log.Log(message);
    const auto lines = LinesOf(folder.path / "20240102-030405006-Error.txt");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), std::string(kPrefix) + message);
    EXPECT_EQ(log.LastMessage(), message);
  }
  log.ClearLastMessage();
  EXPECT_EQ(log.LastMessage(), "");
}

TEST(TextLog, TriesAgainWithTheNextMessageWhenItHasNoFolder) {
  const TemporaryFolder folder;
  TestClock clock;
  const auto logFolder = folder.path / "later" / "LogData";
  TextLog log(logFolder, TextLog::Stamp::without_milliseconds, clock);
  log.Log("lost");
  EXPECT_EQ(log.LastMessage(), "lost");
  std::filesystem::create_directory(folder.path / "later");
  log.Log("kept");
  EXPECT_THAT(LinesOf(logFolder / "20240102-030405Error.txt"),
              ElementsAre(std::string(kPrefix) + "kept"));
}

TEST(ProcessLogs, LieBesideTheLibraryInFoldersOfTheirOwn) {
  const std::string errors = LoggedLines().File().filename().string();
  const std::string dataFiles = LoggedLines(DataFileLog(), "LogData").File().filename().string();
  EXPECT_THAT(errors, testing::EndsWith("-Error.txt"));
  EXPECT_EQ(errors.size(), std::string("20240102-030405006-Error.txt").size());
  EXPECT_EQ(dataFiles.size(), std::string("20240102-030405Error.txt").size());
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

std::vector<std::string> WriterLines(const TemporaryFolder& folder) {
  return LinesOf(folder.path / "20240102-030405006-Test.txt");
}

TEST(ActivityWriter, KeepsTheOrder) {
  const TemporaryFolder folder;
  TestClock clock;
  ActivityWriter writer(folder.path, "Test", clock);
  ASSERT_TRUE(writer.Start());
  EXPECT_FALSE(writer.Start());
  std::vector<std::string> expected;
  for (int line = 0; line < 200; ++line) {
    writer.Add(std::to_string(line));
    expected.push_back(kPrefix + std::to_string(line));
  }
  // The worker pauses whenever it has emptied its queue.
  while (WriterLines(folder).size() < expected.size()) {
    ASSERT_TRUE(clock.slept.WaitFor(std::chrono::seconds(20)));
  }
  EXPECT_EQ(WriterLines(folder), expected);
}

// Holds the worker in its pause.
class HoldingClock : public TestClock {
 public:
  void Sleep(std::uint32_t) override {
    slept.Set();
    goOn.Wait();
  }
  platform::Event goOn;
};

TEST(ActivityWriter, DropsWhatIsQueuedWhenItIsStopped) {
  // From outside nobody sees when the destructor has got far enough for the worker to go on; a
  // single attempt may let it go too early.
  bool dropped = false;
  for (int attempt = 0; attempt < 20 && !dropped; ++attempt) {
    const TemporaryFolder folder;
    HoldingClock clock;
    auto writer = std::make_unique<ActivityWriter>(folder.path, "Test", clock);
    ASSERT_TRUE(writer->Start());
    writer->Add("written");
    clock.slept.Wait();
    writer->Add("dropped");
    std::thread release([&clock] {
      platform::SystemClock().Sleep(20);
      clock.goOn.Set();
    });
    writer.reset();
    release.join();
    dropped = WriterLines(folder).size() == 1;
  }
  EXPECT_TRUE(dropped);
}

TEST(ActivityWriter, EndsAlsoWithoutAFile) {
  const TemporaryFolder folder;
  TestClock clock;
  ActivityWriter writer(folder.path / "missing" / "logdata", "Test", clock);
  ASSERT_TRUE(writer.Start());
  writer.Add("lost");
  EXPECT_TRUE(clock.slept.WaitFor(std::chrono::seconds(20)));
}

TEST(ActivityLog, WritesWhileItIsSwitchedOn) {
  TestClock clock;
  const auto file = platform::LibraryFolder() / "logdata" / "20240102-030405006-ActivityTest.txt";
  std::filesystem::remove(file);
  ActivityLog log("ActivityTest", clock);
  log.Log("off");
  EXPECT_FALSE(std::filesystem::exists(file));
  for (const char* message : {"on", "on again"}) {
    log.Switch(true);
    log.Log(message);
    log.Switch(false);
    log.Log("off");
    clock.slept.Wait();
    log.Close();
  }
  EXPECT_THAT(LinesOf(file),
              ElementsAre(std::string(kPrefix) + "on", std::string(kPrefix) + "on again"));
}

}  // namespace
}  // namespace idcardreader
