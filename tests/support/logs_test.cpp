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
using testing::IsEmpty;

constexpr char kPrefix[] = "2024:01:02|03:04:05|006|";

TEST(TextLog, NamesItsFileAfterTheTimeOfTheFirstMessage) {
  const TemporaryFolder folder;
  TestClock clock;
  TextLog errors(folder.path, TextLog::Stamp::with_milliseconds, clock);
  EXPECT_THAT(folder.Names(), IsEmpty());
  errors.Log("one");
  EXPECT_THAT(folder.Names(), ElementsAre("20240102-030405006-Error.txt"));
  TextLog dataFiles(folder.path / "LogData", TextLog::Stamp::without_milliseconds, clock);
  dataFiles.Log("two");
  EXPECT_THAT(LinesOf(folder.path / "LogData" / "20240102-030405Error.txt"),
              ElementsAre(std::string(kPrefix) + "two"));
}

TEST(TextLog, WritesEachLineAtOnceAndAsItStands) {
  const TemporaryFolder folder;
  TestClock clock;
  TextLog log(folder.path, TextLog::Stamp::with_milliseconds, clock);
  for (const char* message : {"100% of %s%n", "", "\xD5\xFD\xB3\xA3"}) {
    log.Log(message);
    EXPECT_EQ(LinesOf(folder.path / "20240102-030405006-Error.txt").back(),
              std::string(kPrefix) + message);
    EXPECT_EQ(log.LastMessage(), message);
  }
  log.ClearLastMessage();
  EXPECT_EQ(log.LastMessage(), "");
}

TEST(TextLog, TriesAgainWithTheNextMessageWhenItHasNoFolder) {
  const TemporaryFolder folder;
  TestClock clock;
  const auto logFolder = folder.path / "later" / "errordata";
  TextLog log(logFolder, TextLog::Stamp::with_milliseconds, clock);
  log.Log("lost");
  EXPECT_EQ(log.LastMessage(), "lost");
  std::filesystem::create_directory(folder.path / "later");
  log.Log("kept");
  EXPECT_THAT(LinesOf(logFolder / "20240102-030405006-Error.txt"),
              ElementsAre(std::string(kPrefix) + "kept"));
}

TEST(ProcessLogs, LieBesideTheLibraryInFoldersOfTheirOwn) {
  const std::string errors = LoggedLines().File().filename().string();
  const std::string dataFiles = LoggedLines(DataFileLog(), "LogData").File().filename().string();
  EXPECT_THAT(errors, testing::EndsWith("-Error.txt"));
  EXPECT_EQ(errors.size(), std::string("20240102-030405006-Error.txt").size());
  EXPECT_THAT(dataFiles, testing::EndsWith("Error.txt"));
  EXPECT_EQ(dataFiles.size(), std::string("20240102-030405Error.txt").size());
}

TEST(ProcessLogs, TakeWholeLinesFromManyThreads) {
  const LoggedLines errors;
  constexpr int kThreads = 4;
  constexpr int kLines = 50;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int line = 0; line < kLines; ++line) {
        ErrorLog().Log(std::string(100, static_cast<char>('a' + thread)));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const auto lines = errors.Get();
  EXPECT_EQ(lines.size(), std::size_t{kThreads * kLines});
  for (const std::string& line : lines) {
    EXPECT_EQ(line, std::string(100, line.front()));
  }
}

class ActivityWriterTest : public testing::Test {
 protected:
  std::vector<std::string> Lines() { return LinesOf(folder.path / "20240102-030405006-Test.txt"); }

  // The worker pauses whenever it has emptied its queue.
  void AwaitLines(std::size_t count) {
    while (Lines().size() < count) {
      ASSERT_TRUE(clock.slept.WaitFor(std::chrono::seconds(20)));
    }
  }

  const TemporaryFolder folder;
  TestClock clock;
};

TEST_F(ActivityWriterTest, KeepsEachThreadsOrder) {
  ActivityWriter writer(folder.path, "Test", clock);
  ASSERT_TRUE(writer.Start());
  EXPECT_FALSE(writer.Start());
  constexpr int kLines = 100;
  std::vector<std::thread> threads;
  for (const char name : {'a', 'b', 'c'}) {
    threads.emplace_back([&writer, name] {
      for (int line = 0; line < kLines; ++line) {
        writer.Add(name + std::to_string(line));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  AwaitLines(3 * kLines);
  for (const char name : {'a', 'b', 'c'}) {
    int next = 0;
    for (const std::string& line : Lines()) {
      if (line[sizeof kPrefix - 1] == name) {
        EXPECT_EQ(line, kPrefix + (name + std::to_string(next++)));
      }
    }
    EXPECT_EQ(next, kLines);
  }
}

// Holds the worker in its pause, until the writer is being destroyed.
class HoldingClock : public TestClock {
 public:
  void Sleep(std::uint32_t) override {
    slept.Set();
    goOn.Wait();
  }
  platform::Event goOn;
};

TEST_F(ActivityWriterTest, DropsWhatIsQueuedWhenItIsStopped) {
  // From outside nobody sees when the destructor has got so far, so that a single attempt may come
  // too early.
  bool dropped = false;
  for (int attempt = 0; attempt < 20 && !dropped; ++attempt) {
    HoldingClock holding;
    const TemporaryFolder attemptFolder;
    auto writer = std::make_unique<ActivityWriter>(attemptFolder.path, "Test", holding);
    ASSERT_TRUE(writer->Start());
    writer->Add("written");
    holding.slept.Wait();
    writer->Add("dropped");
    std::thread release([&holding] {
      platform::SystemClock().Sleep(20);
      holding.goOn.Set();
    });
    writer.reset();
    release.join();
    const auto lines = LinesOf(attemptFolder.path / "20240102-030405006-Test.txt");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), std::string(kPrefix) + "written");
    dropped = lines.size() == 1;
  }
  EXPECT_TRUE(dropped);
}

TEST_F(ActivityWriterTest, EndsAlsoWithoutAFile) {
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
    EXPECT_EQ(LinesOf(file).back(), std::string(kPrefix) + message);
  }
  EXPECT_EQ(LinesOf(file).size(), 2U);
}

}  // namespace
}  // namespace idcardreader
