#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "support/activity_writer.h"
#include "support/logged_lines.h"
#include "support/temporary_folder.h"
#include "support/test_clock.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

constexpr char kPrefix[] = "2024:01:02|03:04:05|006|";

TEST(TextLog, WritesEachLineAtOnceAndAsItStands) {
  const TemporaryFolder folder;
  TestClock clock;
  TextLog log(folder.path / "later" / "LogData", TextLog::Stamp::with_milliseconds, clock);
  log.Log("lost, as there is no folder");
  EXPECT_EQ(log.LastMessage(), "lost, as there is no folder");
  std::filesystem::create_directory(folder.path / "later");
  for (const char* message : {"100% of %s%n", "", "\xD5\xFD\xB3\xA3"}) {
    log.Log(message);
    const auto lines = LinesOf(folder.path / "later/LogData/20240102-030405006-Error.txt");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), std::string(kPrefix) + message);
    EXPECT_EQ(log.LastMessage(), message);
  }
  log.ClearLastMessage();
  EXPECT_EQ(log.LastMessage(), "");
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

TEST(ActivityWriter, ItsFileIsThereFromTheBeginning) {
  const TemporaryFolder folder;
  TestClock clock;
  const ActivityWriter writer(folder.path / "logdata", "Test", clock);
  EXPECT_TRUE(std::filesystem::exists(folder.path / "logdata/20240102-030405006-Test.txt"));
}

TEST(ActivityWriter, EndsAlsoWithoutAFile) {
  const TemporaryFolder folder;
  TestClock clock;
  ActivityWriter writer(folder.path / "missing" / "logdata", "Test", clock);
  ASSERT_TRUE(writer.Start());
  writer.Add("lost");
  EXPECT_TRUE(clock.slept.WaitFor(std::chrono::seconds(20)));
}

}  // namespace
}  // namespace idcardreader
