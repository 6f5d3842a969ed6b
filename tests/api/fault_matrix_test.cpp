// Every fault at every step of a read: it ends in time with its code and nobody's data, or yields the
// very card; and the next card is read without restarting anything.

#include <algorithm>
#include <map>
#include <thread>

#include "datafile/data_files.h"
#include "host/host_test.h"
#include "host/process_resources.h"

namespace hosttest {
namespace {

using nlohmann::json;

constexpr int kNone = -1;  // there is no such fault at this step

// The pieces of an answer may come in one receive or in several.
constexpr int Or0(int code) { return -code - 1; }

struct Fault {
  const char* name;
  json parameters = json::object();
  milliseconds waits{-1};  // the time-outs that the read sits out; -1: the step's silence
};

struct Step {
  bool atReader;
  const char* name;
  milliseconds silence;    // that the library sits out when no answer comes
  std::vector<int> codes;  // that each fault leads to; 0: the card is read all the same
};

std::string NameOf(bool atReader, std::string name) {
  std::replace(name.begin(), name.end(), '-', '_');
  return (atReader ? "Reader_" : "Service_") + name;
}

// Names the step in messages.
void PrintTo(const Step& step, std::ostream* stream) { *stream << step.name; }

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
    if (atReader) {
      desk.Misbehave(section);
    } else {
      ServiceMisbehaves(section);
    }
  }

  // Reads a good card, after which the process holds no more than it did after the first one.
  void ExpectRecovery() {
    desk.Behave();
    ServiceBehaves();
    ExpectGoodRead("gat");
    ProcessResources now;
    EXPECT_TRUE(Eventually([&] {
      now = MeasureProcess();
      return now.handles <= atFirst.handles + kHandlesOfTheSystem && now.threads <= atFirst.threads;
    })) << now.handles
        << " handles and " << now.threads << " threads instead of " << atFirst.handles << " and "
        << atFirst.threads;
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

const std::vector<Fault>& Faults(bool atReader) {
  static const std::vector<Fault> reader = {
      {"io-error", {{"on", "write"}}, kAtOnce},
      {"io-error", {{"on", "read"}}, kAtOnce},
      {"unplug", {{"replug", 0}}, kAtOnce},
      {"drop"},
      {"short", {{"bytes", 20}}},
      {"wrong-echo",
       {{"count", 1}}},  // and no right one; "stale" is a wrong one before a right one
      {"wrong-echo", {{"count", 2}}, kAtOnce},
      {"stale", {{"count", 1}}},
      {"status", {{"status", 3}}, kAtOnce},
      {"corrupt", json::object(), milliseconds(1000)},
      {"late", {{"ms", kLate.count()}}}};
  static const std::vector<Fault> service = {
      {"drop"},
      {"close", json::object(), kAtOnce},
      {"reset", json::object(), kAtOnce},
      {"half"},
      {"split", {{"parts", 2}, {"gap", 50}}, milliseconds(50)},
      {"garbage", {{"bytes", 64}}},
      {"oversized", {{"bytes", 20000}}},
      {"slow", {{"bytes", 64}, {"ms", 5}}},
      {"delay", {{"ms", 500}}, milliseconds(500)},
      {"hang-up", json::object(), milliseconds(100)},
      {"refuse", {{"code", "07"}}}};
  return atReader ? reader : service;
}

// A reader that takes a tenth of a second for what the exchange after this one carries.
json DelayBehind(const std::string& exchange) {
  static const std::map<std::string, json> delays = {
      {"login", {{"dn", 100}}},         {"heartbeat", {{"dn", 100}}},
      {"dn", {{"input-key", 100}}},     {"output-key", {{"file-11", 25}}},
      {"sector-11", {{"file-12", 20}}}, {"sector-12", {{"file-13", 6}}},
      {"sector-13", {{"file-21", 6}}}};
  const auto delay = delays.find(exchange);
  return {{"latency", delay == delays.end() ? json::object() : delay->second}};
}

class StepFaultsTest : public FaultMatrixTest, public testing::WithParamInterface<Step> {};

TEST_P(StepFaultsTest, EndWithTheirCodeOrYieldTheCard) {
  const Step& step = GetParam();
  for (std::size_t i = 0; i < step.codes.size(); ++i) {
    if (step.codes[i] == kNone) continue;
    const Fault& fault = Faults(step.atReader)[i];
    SCOPED_TRACE(std::string(fault.name) + fault.parameters.dump());
    std::chrono::steady_clock::time_point begin;
    const auto prepare = [&] {
      desk.Behave();
      ServiceBehaves();
      ExpectGoodRead("gat");
      // Only the first read of a connection logs in, all others begin with a heartbeat.
      if (std::string(step.name) == "login") library->CloseComm();
      desk.Put(kAnyCard);
      // The reset must be there before the next block, however busy the machine is.
      if (fault.name == std::string("hang-up")) desk.Misbehave(DelayBehind(step.name));
      Misbehave(step.atReader, FaultAt(step.name, fault.name, fault.parameters));
      begin = std::chrono::steady_clock::now();
    };
    ExpectOutcome(prepare, step.codes[i], fault.waits.count() < 0 ? step.silence : fault.waits);
    // What comes late lies before the next read then, and not in the midst of it, where nothing
    // tells a file's report from another.
    if (fault.name == std::string("late")) {
      std::this_thread::sleep_until(begin + kLate + milliseconds(500));
    }
    ExpectRecovery();
  }
}

// A card that answers the second command with its answer to the first is still that card.
constexpr milliseconds kTwoAnswers(4000);
constexpr milliseconds kAnswer(2000);
constexpr milliseconds kReceive(1000);
// 100 ms for each report of 60 bytes, and one receive from the service.
constexpr milliseconds kShortFile(5 * 100 + 1000);
constexpr milliseconds kLongFile(18 * 100 + 1000);

INSTANTIATE_TEST_SUITE_P(
    At, StepFaultsTest,
    testing::Values(
        // write read unplug drop short echo echoes stale status corrupt late
        Step{true, "dn", kTwoAnswers, {40, 40, 40, 40, 40, 40, 40, 0, 40, 44, 0}},
        Step{true, "input-key", kAnswer, {47, 47, 47, 30, 30, 30, 30, 0, 34, 45, 30}},
        Step{true, "output-key", kAnswer, {47, 47, 47, 30, 30, 30, 30, 0, 34, 0, 30}},
        // What is missing of a file is sent as zeros, and refused.
        Step{true, "file-11", kShortFile, {47, 47, 47, 22, 22, kNone, kNone, 22, kNone, 22, 22}},
        Step{true, "file-12", kShortFile, {47, 47, 47, 22, 22, kNone, kNone, 22, kNone, 22, 22}},
        Step{true, "file-13", kLongFile, {47, 47, 47, 22, 22, kNone, kNone, 22, kNone, 22, 22}},
        Step{true, "file-21", kLongFile, {47, 47, 47, 22, 22, kNone, kNone, 22, kNone, 22, 22}},
        // drop close reset half split garbage oversized slow delay hang-up refuse
        // An answer is what one receive yields, and what is left over answers the next message; a
        // connection that is gone shows at the next message.
        Step{false, "login", kReceive, {50, 50, 50, 51, 51, 51, Or0(44), 0, 0, 9, 51}},
        Step{false, "heartbeat", kReceive, {8, 8, 8, 0, Or0(44), 0, Or0(44), Or0(44), 0, 9, 0}},
        Step{false, "dn", kReceive, {10, 10, 10, 44, 44, 44, Or0(45), 44, 0, 11, 44}},
        Step{false, "output-key", kReceive, {12, 12, 12, 45, 45, 45, Or0(14), 45, 0, 13, 45}},
        Step{false, "sector-11", kReceive, {14, 14, 14, 0, 0, 0, 0, 0, 0, 15, 0}},
        Step{false, "sector-12", kReceive, {16, 16, 16, 0, 0, 0, 0, 0, 0, 17, 0}},
        Step{false, "sector-13", kReceive, {18, 18, 18, 0, 0, 0, 0, 0, 0, 19, 0}},
        Step{false, "sector-21", kReceive, {20, 20, 20, 22, 0, 22, 0, 22, 0, 0, 22}},
        Step{false, "content", kReceive, {22, 22, 22, 22, 0, 22, 0, 22, 0, 0, 22}}),
    [](const auto& step) { return NameOf(step.param.atReader, step.param.name); });

// Where the connection leads: two endpoints, of which the first that answers is used.
TEST_F(FaultMatrixTest, TheSecondServerServesWhenTheFirstDoesNot) {
  const std::string good = "127.0.0.1:" + std::to_string(servicePort);
  const struct {
    const char* name;
    std::vector<std::string> endpoints;
    int code;
  } rows[] = {
      {"refused, then good", {"127.0.0.1:1", good}, 0},
      {"good, then refused", {good, "127.0.0.1:1"}, 0},
      {"a name without an address, then good", {"nowhere.invalid:80", good}, 0},
      {"refused twice", {"127.0.0.1:1", "127.0.0.1:1"}, 29},
      {"names without addresses", {"nowhere.invalid:80", "nowhere.invalid:81"}, 29},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto prepare = [&] {
      library->CloseComm();
      WriteDataFiles(row.endpoints);
      desk.Put(kAnyCard);
    };
    ExpectOutcome(prepare, row.code, milliseconds(1000));
  }
  // Both servers at a port whose lower 16 bits are the service's. The devkit writes no
  // such endpoint but in the lines of the other file, which are made alike.
  library->CloseComm();
  devkit::WriteDataFile(folder.Path() / "hostport.dat",
                        devkit::AppIdLines("127.0.0.1:" + std::to_string(0x10000 + servicePort)));
  EXPECT_EQ(Read().result, 0);
  ExpectCode(29);
}

constexpr milliseconds kStepDelay(800);

// A read is stopped while it waits at a step, and the next one is started at once.
struct WaitingStep {
  bool atReader;
  const char* name;
  milliseconds limit;          // a command that the caller's own thread has sent is awaited
  std::size_t messagesBefore;  // that the service has received by then
};
class StopMatrixTest : public FaultMatrixTest, public testing::WithParamInterface<WaitingStep> {};

TEST_P(StopMatrixTest, EndsAtOnceAndTheNextCardIsRead) {
  const WaitingStep& step = GetParam();
  service->ForgetReceived();
  const int connections = service->ConnectionsSoFar();
  desk.Put(kAnyCard);
  Misbehave(step.atReader, FaultAt(step.name, "delay", {{"ms", kStepDelay.count()}, {"times", 1}}));
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

INSTANTIATE_TEST_SUITE_P(
    At, StopMatrixTest,
    testing::Values(
        WaitingStep{true, "dn", kStepDelay, 0}, WaitingStep{false, "heartbeat", kAtOnce, 1},
        WaitingStep{false, "dn", kAtOnce, 2}, WaitingStep{true, "input-key", kAtOnce, 2},
        WaitingStep{false, "output-key", kAtOnce, 3}, WaitingStep{true, "output-key", kAtOnce, 3},
        WaitingStep{true, "file-12", kAtOnce, 4}, WaitingStep{false, "sector-12", kAtOnce, 5},
        WaitingStep{true, "file-21", kAtOnce, 6}, WaitingStep{false, "content", kAtOnce, 7}),
    [](const auto& step) { return NameOf(step.param.atReader, step.param.name); });

// Nobody answers at either server. What the read does there ends with it, in the log too.
TEST_F(FaultMatrixTest, AStopEndsTheConnectToTheFirstServerAndTheSecondIsNotTried) {
  const auto attempts = [this] {
    const std::string logs = folder.AllOf("logdata");
    std::size_t count = 0;
    for (std::size_t at = 0; (at = logs.find("|InitSocket", at)) != std::string::npos; ++at)
      ++count;
    return count;
  };
  EXPECT_EQ(library->readCardLog(1), 1);
  ServiceMisbehaves(FaultAt("connect", "unanswered"));
  std::future<ReadResult> read = ReadInBackground();
  EXPECT_TRUE(Eventually([&] { return attempts() == 1; }));
  library->readCardStop();
  EXPECT_EQ(read.wait_for(kSlack), std::future_status::ready);
  EXPECT_EQ(Await(read).result, 0);
  ServiceBehaves();
  ExpectGoodRead("gat");
  EXPECT_TRUE(Eventually(
      [this] { return folder.AllOf("logdata").find("Server Init End") != std::string::npos; }));
  EXPECT_EQ(attempts(), 2u);
}

}  // namespace
}  // namespace hosttest
