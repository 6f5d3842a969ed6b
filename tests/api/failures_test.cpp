// What goes wrong ends the read in time, is told by its text, leaves nobody's data behind and does
// not spoil the next read.

#include <algorithm>
#include <thread>

#include "base/json_file.h"
#include "datafile/data_files.h"
#include "host/host_test.h"
#include "host/process_resources.h"

namespace hosttest {
namespace {

using nlohmann::json;

class FailureTest : public HostTest {
 protected:
  void ExpectFailure(int code) {
    EXPECT_EQ(Read().result, 0);
    ExpectCode(code);
    ExpectNoRecord(*library);
  }

  void ExpectEndOf(const json& scenario) {
    SCOPED_TRACE(scenario.dump());
    const auto prepare = [&] {
      library->CloseComm();
      desk.Put(kAnyCard);
      desk.Misbehave(scenario.value("reader", json::object()));
      ServiceMisbehaves(scenario.value("service", json::object()));
      for (int left = scenario.value("goodReadsBefore", 0); left > 0; --left) {
        EXPECT_EQ(Read().result, 1) << LastError();
      }
    };
    const ReadResult read = ReadInTime(prepare, milliseconds(scenario.value("waits", 0)) + kSlack);
    EXPECT_EQ(read.result, 0);
    const std::string text = library->readCardErrorInfo(scenario.at("code"));
    EXPECT_TRUE(read.lastError.starts_with(text)) << LastError();
    // What failures of the reader put into the error log is their text once more.
    if (!scenario.contains("service")) {
      EXPECT_EQ(read.lastError, text + text);
    }
    ExpectNoRecord(*library);
    desk.Behave();
    ServiceBehaves();
    ExpectGoodRead("gat");
  }
};

// What an integrator plays to his application is what this library does. In four parts, which run
// beside each other.
class ScenarioTest : public FailureTest, public testing::WithParamInterface<std::size_t> {};

constexpr std::size_t kParts = 4;

TEST_P(ScenarioTest, EndsInTimeWithItsTextAndSpoilsNothing) {
  std::vector<std::filesystem::path> files;
  const std::filesystem::path scenarios = SourceFolder() / "devkit" / "scenarios";
  for (const auto& entry : std::filesystem::directory_iterator(scenarios)) {
    files.push_back(entry.path());
  }
  EXPECT_GT(files.size(), 40u);
  std::sort(files.begin(), files.end());
  for (std::size_t i = GetParam(); i < files.size(); i += kParts) {
    ExpectEndOf(devkit::ReadJsonFile(files[i]));
  }
}

INSTANTIATE_TEST_SUITE_P(Devkit, ScenarioTest, testing::Range(std::size_t{0}, kParts));

// What no integrator needs to play.
TEST_F(FailureTest, WhatTheReaderSaidBeforeIsNoAnswer) {
  // Two wrong echoes whose status byte is no success: nobody has given a code.
  const json echoes = FaultAt("version", "stale", {{"report", "FF01"}, {"count", 2}});
  ExpectEndOf({{"code", 30}, {"reader", echoes}});
  // The first report of another card is taken for the answer; the others are still there when the
  // next card is read.
  const std::string answer = "0600" + devkit::ToHex(CardOf("yjznew").dn);
  const json foreign = FaultAt("dn", "stale", {{"report", answer}, {"count", 3}});
  ExpectEndOf({{"code", 30}, {"reader", foreign}});
}

TEST_F(FailureTest, ExpiredTokenFailsOneReadAndTheNextLogsInAgain) {
  ExpectGoodRead(kAnyCard);
  service->ExpireAllTokens();
  ExpectFailure(44);
  ExpectGoodRead("gat");
}

TEST_F(FailureTest, UnknownCardTypeFailsWithoutACode) {
  desk.Put(kAnyCard);
  ServiceMisbehaves(FaultAt("content", "unknown-type"));
  EXPECT_EQ(Read().result, 0);
  EXPECT_EQ(LastError(), "parse type fail");
  ExpectNoRecord(*library);
  ServiceBehaves();
  ExpectGoodRead(kAnyCard);
}

// What spoils the line for a moment without spoiling the read.
TEST_F(FailureTest, NuisancesDoNotSpoilTheRead) {
  const struct {
    json reader;
    json service;
  } rows[] = {
      {FaultAt("open", "stale", {{"count", 1}}), json::object()},
      {FaultAt("dn", "stale", {{"count", 4}, {"times", 1}}), json::object()},
      {json::object(), FaultAt("content", "acknowledge-first")},
      {json::object(), FaultAt("sector-21", "hang-up")},
      {json::object(), FaultAt("content", "hang-up")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reader.dump() + row.service.dump());
    library->CloseComm();
    desk.Misbehave(row.reader);
    ServiceMisbehaves(row.service);
    ExpectGoodRead(kAnyCard);
  }
}

// The final answer has two seconds; a host that has named its reader's kind waits three.
TEST_F(FailureTest, TheFinalAnswerHasThreeSecondsOnceTheKindOfReaderIsSet) {
  EXPECT_EQ(library->readCardSetDeviceType(0), 1);
  ServiceMisbehaves(
      {{"latency",
        {{"sector-11", 600}, {"sector-12", 600}, {"sector-13", 600}, {"sector-21", 600}}}});
  ExpectGoodRead(kAnyCard);
}

// Every fault at every step of a read: it ends in time with its code and nobody's data, or yields the
// very card; and the next card is read without restarting anything. A service that hangs up behind an
// answer is one of the devkit's scenarios, as it takes the reader's time to be seen.
constexpr int kNone = -1;  // there is no such fault at this step

// The pieces of an answer may come in one receive or in several.
constexpr int Or0(int code) { return -code - 1; }

// Windows opens some for its sockets and for threads that are gone, by and by and not for each read.
#if defined(_WIN32)
constexpr int kHandlesOfTheSystem = 8;
#else
constexpr int kHandlesOfTheSystem = 0;
#endif

class FaultMatrixTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    ExpectGoodRead("gat");
    atFirst = MeasureProcess();
  }

  void Misbehave(bool atReader, const json& section) {
    atReader ? desk.Misbehave(section) : ServiceMisbehaves(section);
  }

  // Reads a good card, after which the process holds no more than it did after the first one.
  void ExpectRecovery() {
    desk.Behave();
    ServiceBehaves();
    ExpectGoodRead("gat");
    EXPECT_TRUE(Eventually([this] {
      return MeasureProcess().handles <= atFirst.handles + kHandlesOfTheSystem;
    })) << MeasureProcess().handles;
    EXPECT_TRUE(Eventually([this] { return MeasureProcess().threads <= atFirst.threads; }));
  }

  void ExpectOutcome(const std::function<void()>& prepare, int code, milliseconds waits) {
    const ReadResult read = ReadInTime(prepare, waits + kSlack);
    const bool eitherWay = code < kNone;
    if (eitherWay) code = -code - 1;
    EXPECT_TRUE(eitherWay || (read.result != 0) == (code == 0)) << read.result << LastError();
    if (read.result != 0) {
      ExpectRecordOf(CardOf(kAnyCard), *library);
    } else {
      ExpectNoRecord(*library);
      ExpectCode(code);
    }
  }

 private:
  ProcessResources atFirst;
};

constexpr milliseconds kAtOnce(0);
constexpr milliseconds kLate(3000);
// A card that answers the second command with its answer to the first is still that card.
constexpr milliseconds kTwoAnswers(4000);
constexpr milliseconds kAnswer(2000);
constexpr milliseconds kReceive(1000);
// 100 ms for each report of 60 bytes, and one receive from the service.
constexpr milliseconds kShortFile(5 * 100 + 1000);
constexpr milliseconds kLongFile(18 * 100 + 1000);

constexpr struct Step {
  const char* name;
  milliseconds silence;  // that the library sits out when no answer comes
} kSteps[] = {{"dn", kTwoAnswers},     {"input-key", kAnswer},   {"output-key", kAnswer},
              {"file-11", kShortFile}, {"file-12", kShortFile},  {"file-13", kLongFile},
              {"file-21", kLongFile},  {"login", kReceive},      {"heartbeat", kReceive},
              {"dn", kReceive},        {"output-key", kReceive}, {"sector-11", kReceive},
              {"sector-12", kReceive}, {"sector-13", kReceive},  {"sector-21", kReceive},
              {"content", kReceive}};
constexpr std::size_t kReaderSteps = 7;
constexpr milliseconds kSilence(-1);  // the step's own

struct Fault {
  const char* name;
  json parameters;
  milliseconds waits;      // the time-outs that the read sits out
  std::vector<int> codes;  // that it leads to at each step; 0: the card is read all the same
};

const std::vector<Fault>& Faults(bool atReader) {
  static const std::vector<Fault> reader = {
      // What is missing of a file is sent as zeros, and refused.
      {"io-error", {{"on", "write"}}, kAtOnce, {40, 47, 47, 47, 47, 47, 47}},
      {"io-error", {{"on", "read"}}, kAtOnce, {40, 47, 47, 47, 47, 47, 47}},
      {"unplug", {{"replug", 0}}, kAtOnce, {40, 47, 47, 47, 47, 47, 47}},
      {"drop", {}, kSilence, {40, 30, 30, 22, 22, 22, 22}},
      {"short", {{"bytes", 20}}, kSilence, {40, 30, 30, 22, 22, 22, 22}},
      // One wrong answer and no right one, two, and one before the right one.
      {"wrong-echo", {{"count", 1}}, kSilence, {40, 30, 30, kNone, kNone, kNone, kNone}},
      {"wrong-echo", {{"count", 2}}, kAtOnce, {40, 30, 30, kNone, kNone, kNone, kNone}},
      {"stale", {{"count", 1}}, kSilence, {0, 0, 0, 22, 22, 22, 22}},
      {"status", {{"status", 3}}, kAtOnce, {40, 34, 34, kNone, kNone, kNone, kNone}},
      {"corrupt", {}, milliseconds(1000), {44, 45, 0, 22, 22, 22, 22}},
      {"late", {{"ms", kLate.count()}}, kSilence, {0, 30, 30, 22, 22, 22, 22}}};
  static const std::vector<Fault> service = {
      // An answer is what one receive yields, and what is left over answers the next message; a
      // connection that is gone shows at the next message.
      {"drop", {}, kSilence, {50, 8, 10, 12, 14, 16, 18, 20, 22}},
      {"close", {}, kAtOnce, {50, 8, 10, 12, 14, 16, 18, 20, 22}},
      {"reset", {}, kAtOnce, {50, 8, 10, 12, 14, 16, 18, 20, 22}},
      {"half", {}, kSilence, {51, 0, 44, 45, 0, 0, 0, 22, 22}},
      {"split",
       {{"parts", 2}, {"gap", 50}},
       milliseconds(50),
       {51, Or0(44), 44, 45, 0, 0, 0, 0, 0}},
      {"garbage", {{"bytes", 64}}, kSilence, {51, 0, 44, 45, 0, 0, 0, 22, 22}},
      {"oversized",
       {{"bytes", 20000}},
       kSilence,
       {Or0(44), Or0(44), Or0(45), Or0(14), 0, 0, 0, 0, 0}},
      {"slow", {{"bytes", 64}, {"ms", 5}}, kSilence, {0, Or0(44), 44, 45, 0, 0, 0, 22, 22}},
      {"delay", {{"ms", 500}}, milliseconds(500), {0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"refuse", {{"code", "07"}}, kSilence, {51, 0, 44, 45, 0, 0, 0, 22, 22}}};
  return atReader ? reader : service;
}

class StepFaultsTest : public FaultMatrixTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(StepFaultsTest, EndWithTheirCodeOrYieldTheCard) {
  const Step& step = kSteps[GetParam()];
  const bool atReader = GetParam() < kReaderSteps;
  for (const Fault& fault : Faults(atReader)) {
    const int code = fault.codes.at(GetParam() - (atReader ? 0 : kReaderSteps));
    if (code == kNone) continue;
    SCOPED_TRACE(step.name + (' ' + (fault.name + fault.parameters.dump())));
    std::chrono::steady_clock::time_point begin;
    const auto prepare = [&] {
      desk.Behave();
      ServiceBehaves();
      ExpectGoodRead("gat");
      // Only the first read of a connection logs in, all others begin with a heartbeat.
      if (std::string(step.name) == "login") library->CloseComm();
      desk.Put(kAnyCard);
      Misbehave(atReader, FaultAt(step.name, fault.name, fault.parameters));
      begin = std::chrono::steady_clock::now();
    };
    ExpectOutcome(prepare, code, fault.waits == kSilence ? step.silence : fault.waits);
    // What comes late lies before the next read then, and not in the midst of it, where nothing
    // tells a file's report from another.
    if (fault.name == std::string("late")) {
      std::this_thread::sleep_until(begin + kLate + milliseconds(500));
    }
    ExpectRecovery();
  }
}

INSTANTIATE_TEST_SUITE_P(At, StepFaultsTest, testing::Range(std::size_t{0}, std::size(kSteps)));

// What the data files lead to: two endpoints, of which the first that answers is used.
TEST_F(FaultMatrixTest, TheSecondServerServesWhenTheFirstDoesNot) {
  library->CloseComm();
  WriteDataFiles({"127.0.0.1:1", "127.0.0.1:" + std::to_string(servicePort)});
  ExpectGoodRead(kAnyCard);
  // Both servers at a port whose lower 16 bits are the service's. The devkit writes no
  // such endpoint but in the lines of the other file, which are made alike.
  library->CloseComm();
  devkit::WriteDataFile(folder.Path() / "hostport.dat",
                        devkit::AppIdLines("127.0.0.1:" + std::to_string(0x10000 + servicePort)));
  EXPECT_EQ(Read().result, 0);
  ExpectCode(29);
}

constexpr milliseconds kStepDelay(1600);

// A read is stopped while it waits at a step, and the next one is started at once.
TEST_F(FaultMatrixTest, AStopEndsAReadAtOnceAndTheNextCardIsRead) {
  const struct {
    bool atReader;
    const char* name;
    milliseconds limit;          // a command that the caller's own thread has sent is awaited
    std::size_t messagesBefore;  // that the service has received by then
  } steps[] = {{true, "dn", kStepDelay, 0},       {false, "heartbeat", kAtOnce, 1},
               {false, "dn", kAtOnce, 2},         {true, "input-key", kAtOnce, 2},
               {false, "output-key", kAtOnce, 3}, {true, "output-key", kAtOnce, 3},
               {true, "file-12", kAtOnce, 4},     {false, "sector-12", kAtOnce, 5},
               {true, "file-21", kAtOnce, 6},     {false, "content", kAtOnce, 7}};
  for (const auto& step : steps) {
    SCOPED_TRACE(std::string(step.atReader ? "reader " : "service ") + step.name);
    service->ForgetReceived();
    const int connections = service->ConnectionsSoFar();
    desk.Put(kAnyCard);
    Misbehave(step.atReader,
              FaultAt(step.name, "delay", {{"ms", kStepDelay.count()}, {"times", 1}}));
    std::future<ReadResult> read = ReadInBackground();
    // The reader is asked for the DN once the service is connected to.
    ASSERT_TRUE(Eventually([&] { return service->ConnectionsSoFar() > connections; }));
    ASSERT_TRUE(service->WaitForReceived(step.messagesBefore, std::chrono::seconds(10)));
    library->readCardStop();
    EXPECT_EQ(read.wait_for(step.limit + kSlack), std::future_status::ready);
    EXPECT_EQ(Await(read).result, 0);
    ExpectNoRecord(*library);
    ExpectRecovery();
  }
}

}  // namespace
}  // namespace hosttest
