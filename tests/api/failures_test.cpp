// What goes wrong ends the read in time, is told by its text, leaves nobody's data behind and does
// not spoil the next read.

#include <algorithm>

#include "base/json_file.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

using nlohmann::json;

// The library's own limits, which the bounds of the cases are made of.
constexpr milliseconds kServiceTimeout(1000);  // one receive
constexpr milliseconds kConnectTimeout(1000);  // one server
constexpr milliseconds kReaderTimeout(2000);   // one answer to a key or to the DN
constexpr milliseconds kFinalTimeout(2000);    // from the last upload to the result
// Of the card, in scenarios that give the network time.
constexpr milliseconds kCardDelay(200);
constexpr milliseconds kReaderDelay(100);

std::filesystem::path ScenarioFolder() { return SourceFolder() / "devkit" / "scenarios"; }

json Faults(const std::vector<json>& faults) {
  json section = json::object();
  section["faults"] = faults;
  return section;
}

json FaultAt(const char* place, const char* kind, json parameters = json::object()) {
  parameters["at"] = place;
  parameters["fault"] = kind;
  return Faults(std::vector{parameters});
}

class FailureTest : public HostTest {
 protected:
  void Misbehave(const json& scenario) {
    desk.Put(kAnyCard);
    desk.Misbehave(scenario.value("reader", json::object()));
    ServiceMisbehaves(scenario.value("service", json::object()));
  }

  // `text`: of the status code, UTF-8. `waits`: the time-outs that the read has to sit out.
  void ExpectFailure(const json& scenario, const std::string& text, milliseconds waits) {
    const auto prepare = [&] {
      Misbehave(scenario);
      for (int left = scenario.value("goodReadsBefore", 0); left > 0; --left) {
        EXPECT_EQ(Read().result, 1) << LastError();
      }
    };
    EXPECT_EQ(ReadInTime(prepare, waits + kSlack).result, 0);
    EXPECT_TRUE(LastError().starts_with(Gbk(text))) << "wanted " << text << ", got " << LastError();
    ExpectNoRecord(*library);
  }

  void ExpectRecovery() {
    desk.Behave();
    ServiceBehaves();
    ExpectGoodRead("gat");
  }
};

// One row for each of the devkit's scenarios: what an integrator plays to his application is what
// this library does.
struct ScenarioCase {
  const char* file;
  const char* text;
  milliseconds waits{0};
};

const std::vector<ScenarioCase>& ScenarioCases() {
  static const std::vector<ScenarioCase> cases = {
      {"07-heartbeat-not-sent", "网络发送心跳失败", kCardDelay},
      {"08-heartbeat-unanswered", "网络获取心跳失败", kServiceTimeout},
      {"09-dn-not-sent", "网络发送DN失败", kReaderDelay},
      {"10-dn-unanswered", "网络获取DN失败", kServiceTimeout},
      {"11-output-key-not-sent", "网络发送OUTPUTKEY失败", kReaderDelay},
      {"12-output-key-unanswered", "网络获取OUTPUTKEY失败", kServiceTimeout},
      {"13-sector-11-not-sent", "网络发送SECTOR11失败", kReaderDelay},
      {"14-sector-11-unanswered", "网络获取SECTOR11失败", kServiceTimeout},
      {"15-sector-12-not-sent", "网络发送SECTOR12失败", kReaderDelay},
      {"16-sector-12-unanswered", "网络获取SECTOR12失败", kServiceTimeout},
      {"17-sector-13-not-sent", "网络发送SECTOR13失败", kReaderDelay},
      {"18-sector-13-unanswered", "网络获取SECTOR13失败", kServiceTimeout},
      {"19-sector-21-not-sent", "网络发送SECTOR21失败", kReaderDelay},
      {"20-sector-21-unanswered", "网络获取SECTOR21失败", kServiceTimeout},
      {"22-content-missing", "网络获取身份证详情失败", kServiceTimeout},
      {"22-content-without-data", "网络获取身份证详情失败"},
      {"27-no-reader", "读卡(未找到设备)"},
      {"28-reader-will-not-open", "读卡(未放置身份证)"},
      {"29-service-refuses-connections", "初始化Server模块"},
      {"29-service-unreachable", "初始化Server模块", 2 * kConnectTimeout},
      {"30-reader-answer-short", "读卡(设备响应错误)"},
      {"30-reader-silent", "读卡(设备响应错误)", kReaderTimeout},
      {"31-reader-status-unknown", "读卡(未知错误)"},
      {"32-reader-status-communication", "读卡(通信错误)"},
      {"33-reader-status-collision", "读卡(冲突检测信号)"},
      {"34-reader-status-time-out", "读卡(通信超时)"},
      {"35-reader-status-buffer", "读卡(缓冲区太小)"},
      {"36-reader-status-internal", "读卡(内部错误)"},
      {"37-reader-status-parameters", "读卡(参数非法)"},
      {"38-reader-status-checksum", "读卡(CRC_A不匹配)"},
      {"39-reader-status-card-locked", "读卡(卡被锁死)"},
      {"40-dn-unreadable", "读取DN码"},
      {"44-input-key-refused", "网络解析1-Json错误"},
      {"44-input-key-short", "网络解析1-Json错误"},
      {"44-token-expired", "网络解析1-Json错误"},
      {"45-output-key-mistaken", "网络解析2-Json错误"},
      {"45-output-key-refused", "网络解析2-Json错误"},
      {"46-service-slow", "监测到读卡流程超时", kFinalTimeout},
      {"47-reader-transfer-fails", "监测到HID设备断开"},
      {"47-reader-unplugged", "监测到HID设备断开"},
      {"49-login-not-sent", "发送注册失败", kCardDelay},
      {"50-login-unanswered", "接收注册失败", kServiceTimeout},
      {"51-login-refused", "网络解析token错误"},
      {"51-login-token-short", "网络解析token错误"},
      {"55-content-empty", "解压数据失败"},
      {"55-content-not-inflatable", "解压数据失败"},
  };
  return cases;
}

// Names the case in test lists and messages.
void PrintTo(const ScenarioCase& scenario, std::ostream* stream) { *stream << scenario.file; }

class ScenarioTest : public FailureTest, public testing::WithParamInterface<ScenarioCase> {};

TEST_P(ScenarioTest, EndsInTimeWithItsTextAndSpoilsNothing) {
  const json scenario =
      devkit::ReadJsonFile(ScenarioFolder() / (std::string(GetParam().file) + ".json"));
  ExpectFailure(scenario, GetParam().text, GetParam().waits);
  EXPECT_TRUE(LastError().starts_with(library->readCardErrorInfo(scenario.at("code"))));
  ExpectRecovery();
}

INSTANTIATE_TEST_SUITE_P(Devkit, ScenarioTest, testing::ValuesIn(ScenarioCases()),
                         [](const auto& param) {
                           std::string name = "Code" + std::string(param.param.file);
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// The rows name the tests and so cannot come from the folder itself.
TEST(ScenarioCasesTest, HoldEveryScenarioOfTheDevkit) {
  std::vector<std::string> found, listed;
  for (const auto& entry : std::filesystem::directory_iterator(ScenarioFolder())) {
    found.push_back(entry.path().stem().string());
  }
  for (const ScenarioCase& scenario : ScenarioCases()) listed.push_back(scenario.file);
  std::sort(found.begin(), found.end());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(found, listed);
}

// Other ways to the same codes.
struct FaultCase {
  const char* name;
  const char* text;
  json scenario;
  milliseconds waits{0};
};

const std::vector<FaultCase>& FaultCases() {
  static const std::vector<FaultCase> cases = {
      {"30_wrong_echo_to_a_key",
       "读卡(设备响应错误)",
       {{"reader", FaultAt("input-key", "wrong-echo")}},
       kReaderTimeout},
      {"30_short_answer_to_the_second_key",
       "读卡(设备响应错误)",
       {{"reader", FaultAt("output-key", "short", {{"bytes", 20}})}}},
      {"31_status_9",
       "读卡(未知错误)",
       {{"reader", FaultAt("input-key", "status", {{"status", 9}})}}},
      {"40_dn_silent_twice", "读取DN码", {{"reader", FaultAt("dn", "drop")}}, 2 * kReaderTimeout},
      {"47_read_fails",
       "监测到HID设备断开",
       {{"reader", FaultAt("output-key", "io-error", {{"on", "read"}})}}},
      {"47_unplugged_in_a_file",
       "监测到HID设备断开",
       {{"reader", FaultAt("file-13", "unplug", {{"replug", 0}})}}},
      {"22_old_reports_in_a_file",
       "网络获取身份证详情失败",
       {{"reader", FaultAt("file-13", "stale", {{"count", 3}, {"times", 1}})}},
       kServiceTimeout},
      {"10_connection_closed", "网络获取DN失败", {{"service", FaultAt("dn", "close")}}},
      {"50_connection_closed", "接收注册失败", {{"service", FaultAt("login", "close")}}},
      {"44_wrong_marker", "网络解析1-Json错误", {{"service", FaultAt("dn", "wrong-marker")}}},
      {"44_without_data", "网络解析1-Json错误", {{"service", FaultAt("dn", "no-data")}}},
      {"45_without_data", "网络解析2-Json错误", {{"service", FaultAt("output-key", "no-data")}}},
      {"55_content_damaged", "解压数据失败", {{"service", FaultAt("content", "corrupt")}}},
  };
  return cases;
}

void PrintTo(const FaultCase& fault, std::ostream* stream) { *stream << fault.name; }

class FaultTest : public FailureTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FaultTest, EndsInTimeWithItsTextAndSpoilsNothing) {
  ExpectFailure(GetParam().scenario, GetParam().text, GetParam().waits);
  ExpectRecovery();
}

INSTANTIATE_TEST_SUITE_P(Other, FaultTest, testing::ValuesIn(FaultCases()),
                         [](const auto& param) { return "Code" + std::string(param.param.name); });

class FailureWithoutScenarioTest : public HostTest {};

TEST_F(FailureWithoutScenarioTest, NoCardIsCode40) {
  desk.TakeCardAway();
  EXPECT_EQ(Read().result, 0);
  EXPECT_TRUE(LastError().starts_with(Gbk("读取DN码")));
  ExpectNoRecord(*library);
  ExpectGoodRead(kAnyCard);
}

TEST_F(FailureWithoutScenarioTest, ReaderPluggedOutBetweenReadsAndInAgain) {
  ExpectGoodRead(kAnyCard);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
  desk.Unplug();
  EXPECT_EQ(Read().result, 0);
  EXPECT_TRUE(LastError().starts_with(Gbk("读取DN码"))) << LastError();
  EXPECT_EQ(library->readCardGetDeviceStatus(), 3);
  EXPECT_STREQ(library->readCardGetVersionCode(), "");
  EXPECT_EQ(Read().result, 0);
  EXPECT_TRUE(LastError().starts_with(Gbk("读卡(未找到设备)"))) << LastError();
  desk.Plug();
  ExpectGoodRead("gat");
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
}

TEST_F(FailureWithoutScenarioTest, ServiceDownIsCode29AndUpAgainNeedsNoRestart) {
  StopService();
  desk.Put(kAnyCard);
  EXPECT_EQ(Read().result, 0);
  EXPECT_TRUE(LastError().starts_with(Gbk("初始化Server模块"))) << LastError();
  ExpectNoRecord(*library);
  StartService();
  ExpectGoodRead(kAnyCard);
}

TEST_F(FailureWithoutScenarioTest, WithoutHostPortFileNoServiceIsReached) {
  folder.RemoveFile("hostport.dat");
  desk.Put(kAnyCard);
  EXPECT_EQ(Read().result, 0);
  EXPECT_TRUE(LastError().starts_with(Gbk("初始化Server模块"))) << LastError();
  EXPECT_EQ(service->ConnectionsSoFar(), 0);
  // Data files are read again only by a new engine.
  WriteDataFiles();
  EXPECT_EQ(Read().result, 0);
  library->CloseComm();
  ExpectGoodRead(kAnyCard);
}

TEST_F(FailureWithoutScenarioTest, ExpiredTokenFailsOneReadAndTheNextLogsInAgain) {
  ExpectGoodRead(kAnyCard);
  service->ExpireAllTokens();
  desk.Put(kAnyCard);
  EXPECT_EQ(Read().result, 0);
  EXPECT_TRUE(LastError().starts_with(Gbk("网络解析1-Json错误"))) << LastError();
  service->ForgetReceived();
  ExpectGoodRead(kAnyCard);
  ASSERT_FALSE(service->Received().empty());
  EXPECT_EQ(service->Received().front().exchange, "login");
}

TEST_F(FailureWithoutScenarioTest, UnknownCardTypeFailsWithoutACode) {
  desk.Put(kAnyCard);
  ServiceMisbehaves(FaultAt("content", "unknown-type"));
  EXPECT_EQ(Read().result, 0);
  EXPECT_EQ(LastError(), "parse type fail");
  ExpectNoRecord(*library);
  ServiceBehaves();
  ExpectGoodRead(kAnyCard);
}

// What spoils the line for a moment without spoiling the read.
struct NuisanceCase {
  const char* name;
  json reader = json::object();
  json service = json::object();
};

void PrintTo(const NuisanceCase& nuisance, std::ostream* stream) { *stream << nuisance.name; }

class NuisanceTest : public HostTest, public testing::WithParamInterface<NuisanceCase> {};

TEST_P(NuisanceTest, DoesNotSpoilTheRead) {
  desk.Misbehave(GetParam().reader);
  ServiceMisbehaves(GetParam().service);
  ExpectGoodRead(kAnyCard);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, NuisanceTest,
    testing::Values(NuisanceCase{.name = "DnFailsOnce",
                                 .reader = FaultAt("dn", "status", {{"status", 3}, {"times", 1}})},
                    NuisanceCase{.name = "DnSilentOnce",
                                 .reader = FaultAt("dn", "drop", {{"times", 1}})},
                    NuisanceCase{.name = "ALateAnswersReportsComeBeforeTheDn",
                                 .reader = FaultAt("dn", "stale", {{"count", 4}, {"times", 1}})},
                    NuisanceCase{.name = "StaleReportsWaitAtOpen",
                                 .reader = FaultAt("open", "stale", {{"count", 1}})},
                    NuisanceCase{.name = "ContentInPieces",
                                 .service = FaultAt("content", "split", {{"parts", 4}})},
                    NuisanceCase{.name = "AcknowledgedBeforeTheContent",
                                 .service = FaultAt("content", "acknowledge-first")},
                    NuisanceCase{.name = "EverythingTakesAWhile",
                                 .reader = {{"latency", {{"report", 1}}}},
                                 .service = {{"latency", {{"exchange", 30}}}}}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace hosttest
