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

// The pieces of an answer may come in one receive or in several.
constexpr int Or0(int code) { return -code; }

// Windows opens some for its sockets and for threads that are gone, by and by and not for each read.
#if defined(_WIN32)
constexpr int kHandlesOfTheSystem = 8;
#else
constexpr int kHandlesOfTheSystem = 0;
#endif

class FailureTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    ExpectGoodRead("gat");
    atFirst = MeasureProcess();
  }

  void Play(const json& scenario) {
    desk.Misbehave(scenario.value("reader", json::object()));
    ServiceMisbehaves(scenario.value("service", json::object()));
  }

  // A read that the scenario disturbs ends with its code and nobody's data, or for code 0 yields the
  // very card; and the next card is read without restarting anything. Scenarios of these tests alone
  // may tell more: the last error's text, a read that is not the connection's first, a reader whose
  // kind the host has named, and how long what comes late is waited for before the next read.
  void ExpectEndOf(const json& scenario) {
    SCOPED_TRACE(scenario.dump());
    std::chrono::steady_clock::time_point begin;
    const auto prepare = [&] {
      Play(json::object());
      ExpectGoodRead("gat");
      if (!scenario.contains("goesOn")) library->CloseComm();
      if (scenario.contains("kindIsSet")) {
        EXPECT_EQ(library->readCardSetDeviceType(0), 1);
      }
      desk.Put(kAnyCard);
      Play(scenario);
      for (int left = scenario.value("goodReadsBefore", 0); left > 0; --left) {
        EXPECT_EQ(Read().result, 1) << LastError();
      }
      begin = std::chrono::steady_clock::now();
    };
    int code = scenario.at("code");
    int attempts = scenario.value("attempts", 1);
    ReadResult read;
    do {
      read = ReadInTime(prepare, milliseconds(scenario.value("waits", 0)) + kSlack);
    } while (--attempts > 0 && !read.lastError.starts_with(library->readCardErrorInfo(code)));
    EXPECT_TRUE(code < 0 || (read.result != 0) == (code == 0)) << read.result << read.lastError;
    code = std::abs(code);
    if (read.result != 0) {
      ExpectRecordOf(CardOf(kAnyCard), *library);
    } else {
      const std::string text = scenario.value("text", library->readCardErrorInfo(code));
      EXPECT_TRUE(read.lastError.starts_with(text)) << code << read.lastError;
      // What failures of the reader put into the error log is their text once more.
      if ((code > 29 && code < 44) || code == 47) {
        EXPECT_EQ(read.lastError, text + text);
      }
      ExpectNoRecord(*library);
    }
    std::this_thread::sleep_until(begin + milliseconds(scenario.value("settles", 0)));
    ExpectRecovery();
  }

  // Reads a good card, after which the process holds no more than it did after the first one.
  void ExpectRecovery() {
    Play(json::object());
    ExpectGoodRead("gat");
    EXPECT_TRUE(Eventually([this] {
      return MeasureProcess().handles <= atFirst.handles + kHandlesOfTheSystem;
    })) << MeasureProcess().handles;
    EXPECT_TRUE(Eventually([this] { return MeasureProcess().threads <= atFirst.threads; }));
  }

 private:
  ProcessResources atFirst;
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

TEST_F(FailureTest, WhatNoIntegratorNeedsToPlay) {
  const auto stale = [](const char* place, int count, std::string report = "") {
    json parameters = {{"count", count}, {"times", 1}};
    if (!report.empty()) parameters["report"] = report;
    return FaultAt(place, "stale", parameters);
  };
  const std::string otherCard = "0600" + devkit::ToHex(CardOf("yjznew").dn);
  const json scenarios[] = {
      // Two wrong echoes whose status byte is no success: nobody has given a code.
      {{"code", 30}, {"reader", stale("version", 2, "FF01")}},
      // The first report of another card is taken for the answer; the others are still there when
      // the next card is read.
      {{"code", 30}, {"reader", stale("dn", 3, otherCard)}},
      {{"code", 56}, {"text", "parse type fail"}, {"service", FaultAt("content", "unknown-type")}},
      // What spoils the line for a moment does not spoil the read.
      {{"code", 0}, {"reader", stale("open", 1)}},
      {{"code", 0}, {"waits", 4000}, {"reader", stale("dn", 4)}},
      {{"code", 0}, {"service", FaultAt("content", "acknowledge-first")}},
      {{"code", 0}, {"service", FaultAt("sector-21", "hang-up")}},
      {{"code", 0}, {"service", FaultAt("content", "hang-up")}},
      // The final answer has two seconds; a host that has named its reader's kind waits three.
      {{"code", 0},
       {"waits", 2400},
       {"kindIsSet", true},
       {"service",
        {{"latency",
          {{"sector-11", 600}, {"sector-12", 600}, {"sector-13", 600}, {"sector-21", 600}}}}}}};
  for (const json& scenario : scenarios) ExpectEndOf(scenario);
}

// More reports than a file has: the read fails at the service, and some lie there still.
TEST_F(FailureTest, AnOldReportIsNotTheNextCardsUid) {
  desk.Misbehave(
      FaultAt("file-21", "stale", {{"count", 40}, {"times", 1}, {"report", "0D000404DEADBEEF"}}));
  EXPECT_EQ(Read().result, 0);
  desk.Misbehave(json::object());
  desk.Put(kTypeACard);
  char uid[IDCARDREADER_UID_BYTES] = {};
  EXPECT_EQ(library->readCardGetUID(2, uid), 1);
  EXPECT_EQ(uid, devkit::ToHex(CardOf(kTypeACard).uid));
}

// Every fault at every step of a read.
constexpr int kNone = 99;  // there is no such fault at this step

constexpr int kSilence = -1;  // until the step's answer is given up
constexpr int kLate = 3000;

constexpr struct Step {
  const char* name;
  int silence;  // in milliseconds; 100 for each report of 60 bytes, and one receive behind a file
} kSteps[] = {{"dn", 4000},        {"input-key", 2000}, {"output-key", 2000}, {"file-11", 1500},
              {"file-12", 1500},   {"file-13", 2800},   {"file-21", 2800},    {"login", 1000},
              {"heartbeat", 1000}, {"dn", 1000},        {"output-key", 1000}, {"sector-11", 1000},
              {"sector-12", 1000}, {"sector-13", 1000}, {"sector-21", 1000},  {"content", 1000}};
constexpr std::size_t kReaderSteps = 7;

struct Fault {
  const char* name;
  json parameters;
  int waits;               // for how many milliseconds, all together
  std::vector<int> codes;  // that it leads to at each step; 0: the card is read all the same
};

const std::vector<Fault>& Faults(bool atReader) {
  static const std::vector<Fault> reader = {
      // What is missing of a file is sent as zeros, and refused.
      {"io-error", {{"on", "write"}}, 0, {40, 47, 47, 47, 47, 47, 47}},
      {"io-error", {{"on", "read"}}, 0, {40, 47, 47, 47, 47, 47, 47}},
      {"unplug", {{"replug", 0}}, 0, {40, 47, 47, 47, 47, 47, 47}},
      {"drop", {}, kSilence, {40, 30, 30, 22, 22, 22, 22}},
      {"short", {{"bytes", 20}}, kSilence, {40, 30, 30, 22, 22, 22, 22}},
      // One wrong answer and no right one, two, and one before the right one.
      {"wrong-echo", {{"count", 1}}, kSilence, {40, 30, 30, kNone, kNone, kNone, kNone}},
      {"wrong-echo", {{"count", 2}}, 0, {40, 30, 30, kNone, kNone, kNone, kNone}},
      {"stale", {{"count", 1}}, kSilence, {0, 0, 0, 22, 22, 22, 22}},
      {"status", {{"status", 3}}, 0, {40, 34, 34, kNone, kNone, kNone, kNone}},
      {"corrupt", {}, 1000, {44, 45, 0, 22, 22, 22, 22}},
      // A card that answers the second command with its answer to the first is still that card.
      {"late", {{"ms", kLate}}, kSilence, {0, 30, 30, 22, 22, 22, 22}}};
  static const std::vector<Fault> service = {
      // An answer is what one receive yields, and what is left over answers the next message; a
      // connection that is gone shows at the next message.
      {"close", {}, 0, {50, 8, 10, 12, 14, 16, 18, 20, 22}},
      {"reset", {}, 0, {50, 8, 10, 12, 14, 16, 18, 20, 22}},
      {"half", {}, kSilence, {51, 0, 44, 45, 0, 0, 0, 22, 22}},
      {"split", {{"parts", 2}, {"gap", 50}}, 50, {51, Or0(44), 44, 45, 0, 0, 0, 0, 0}},
      {"garbage", {{"bytes", 64}}, kSilence, {51, 0, 44, 45, 0, 0, 0, 22, 22}},
      {"oversized",
       {{"bytes", 20000}},
       kSilence,
       {Or0(44), Or0(44), Or0(45), Or0(14), 0, 0, 0, 0, 0}},
      // On a busy machine both pieces of a short answer may be there at once.
      {"slow",
       {{"bytes", 64}, {"ms", 5}},
       kSilence,
       {0, Or0(44), Or0(44), Or0(45), 0, 0, 0, 22, 22}},
      {"delay", {{"ms", 500}}, 500, {0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"refuse", {{"code", "07"}}, kSilence, {51, 0, 44, 45, 0, 0, 0, 22, 22}}};
  return atReader ? reader : service;
}

class StepFaultsTest : public FailureTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(StepFaultsTest, EndWithTheirCodeOrYieldTheCard) {
  const Step& step = kSteps[GetParam()];
  const bool atReader = GetParam() < kReaderSteps;
  for (const Fault& fault : Faults(atReader)) {
    const int code = fault.codes.at(GetParam() - (atReader ? 0 : kReaderSteps));
    if (code == kNone) continue;
    json scenario = {
        {"code", code},
        {"waits", fault.waits == kSilence ? step.silence : fault.waits},
        {atReader ? "reader" : "service", FaultAt(step.name, fault.name, fault.parameters)}};
    // Only the first read of a connection logs in, all others begin with a heartbeat.
    if (step.name != std::string("login")) scenario["goesOn"] = true;
    // Not in the midst of the next read, where nothing tells a file's report from another.
    if (fault.name == std::string("late")) scenario["settles"] = kLate + 500;
    ExpectEndOf(scenario);
  }
}

INSTANTIATE_TEST_SUITE_P(At, StepFaultsTest, testing::Range(std::size_t{0}, std::size(kSteps)));

// What the data files lead to: two endpoints, of which the first that answers is used.
TEST_F(FailureTest, TheSecondServerServesWhenTheFirstDoesNot) {
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

// A read is stopped while it waits at a step, and the next one is started at once.
TEST_F(FailureTest, AStopEndsAReadAtOnceAndTheNextCardIsRead) {
  constexpr milliseconds kDelay(1600);
  const struct {
    const char* side;
    const char* name;
    std::size_t messagesBefore;  // that the service has received by then
  } steps[] = {{"reader", "dn", 0},          {"service", "heartbeat", 1},
               {"service", "dn", 2},         {"reader", "input-key", 2},
               {"service", "output-key", 3}, {"reader", "output-key", 3},
               {"reader", "file-12", 4},     {"service", "sector-12", 5},
               {"reader", "file-21", 6},     {"service", "content", 7}};
  for (const auto& step : steps) {
    SCOPED_TRACE(std::string(step.side) + step.name);
    service->ForgetReceived();
    const int connections = service->ConnectionsSoFar();
    desk.Put(kAnyCard);
    Play({{step.side, FaultAt(step.name, "delay", {{"ms", kDelay.count()}, {"times", 1}})}});
    std::future<ReadResult> read = ReadInBackground();
    // The reader is asked for the DN once the service is connected to.
    ASSERT_TRUE(Eventually([&] { return service->ConnectionsSoFar() > connections; }));
    ASSERT_TRUE(service->WaitForReceived(step.messagesBefore, std::chrono::seconds(10)));
    // The key is on its way to the reader then, whose answer belongs to nobody any more.
    if (step.side == std::string("reader") && std::string(step.name).ends_with("-key")) {
      std::this_thread::sleep_for(milliseconds(150));
    }
    const auto stopped = std::chrono::steady_clock::now();
    library->readCardStop();
    // A command that the caller's own thread has sent is awaited.
    const milliseconds limit = step.messagesBefore == 0 ? kDelay : milliseconds(0);
    EXPECT_EQ(read.wait_for(limit + kSlack), std::future_status::ready);
    EXPECT_EQ(Await(read).result, 0);
    ExpectNoRecord(*library);
    // A file that comes late must not come in the midst of the next read, where nothing tells its
    // reports from others.
    if (step.side == std::string("reader") && std::string(step.name).starts_with("file-")) {
      std::this_thread::sleep_until(stopped + kDelay + milliseconds(300));
    }
    ExpectRecovery();
    // Nothing of the stopped read was done for the next one, or tried.
    for (const auto& message : service->Received()) EXPECT_TRUE(message.accepted);
    EXPECT_EQ(folder.AllOf("errordata").find(library->readCardErrorInfo(29)), std::string::npos);
  }
}

}  // namespace
}  // namespace hosttest
