// What goes wrong ends the read in time, is told by its text, leaves nobody's data behind and does
// not spoil the next read.

#include "api/api_test.h"

namespace apitest {
namespace {

using nlohmann::json;

// The library's own limits, which the bounds of the cases are made of.
constexpr milliseconds kServiceTimeout(1000);  // one receive
constexpr milliseconds kReaderTimeout(2000);   // one answer to a key or to the DN
constexpr milliseconds kFinalTimeout(2000);    // from the last upload to the result
// Passes of the read thread, starting threads, a busy machine.
constexpr milliseconds kSlack(1500);

struct FailureCase {
  const char* name;
  const char* text;  // of the status code, UTF-8
  json reader = json::object();
  json service = json::object();
  milliseconds waits{0};  // the time-outs that the read has to sit out
  bool loggedIn = false;  // a good read comes first: later reads open with the heartbeat
};

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

FailureCase ReaderStatus(const char* name, int status, const char* text) {
  return {
      .name = name, .text = text, .reader = FaultAt("input-key", "status", {{"status", status}})};
}

FailureCase ServiceDrops(const char* name, const char* exchange, const char* text) {
  return {
      .name = name, .text = text, .service = FaultAt(exchange, "drop"), .waits = kServiceTimeout};
}

const std::vector<FailureCase>& FailureCases() {
  static const std::vector<FailureCase> cases = {
      {.name = "27_no_reader",
       .text = "读卡(未找到设备)",
       .reader = FaultAt("enumerate", "no-device")},
      {.name = "28_reader_does_not_open",
       .text = "读卡(未放置身份证)",
       .reader = FaultAt("open", "no-device")},
      {.name = "30_no_answer_to_key",
       .text = "读卡(设备响应错误)",
       .reader = FaultAt("input-key", "drop"),
       .waits = kReaderTimeout},
      {.name = "30_short_answer_to_key",
       .text = "读卡(设备响应错误)",
       .reader = FaultAt("output-key", "short", {{"bytes", 20}})},
      {.name = "30_wrong_echo_to_key",
       .text = "读卡(设备响应错误)",
       .reader = FaultAt("input-key", "wrong-echo"),
       .waits = kReaderTimeout},
      ReaderStatus("31_status_9", 9, "读卡(未知错误)"),
      ReaderStatus("31_status_255", 255, "读卡(未知错误)"),
      ReaderStatus("32_status_1", 1, "读卡(通信错误)"),
      ReaderStatus("33_status_2", 2, "读卡(冲突检测信号)"),
      ReaderStatus("34_status_3", 3, "读卡(通信超时)"),
      ReaderStatus("35_status_4", 4, "读卡(缓冲区太小)"),
      ReaderStatus("36_status_5", 5, "读卡(内部错误)"),
      ReaderStatus("37_status_6", 6, "读卡(参数非法)"),
      ReaderStatus("38_status_7", 7, "读卡(CRC_A不匹配)"),
      ReaderStatus("39_status_8", 8, "读卡(卡被锁死)"),
      {.name = "40_dn_refused_twice",
       .text = "读取DN码",
       .reader = FaultAt("dn", "status", {{"status", 3}})},
      {.name = "40_dn_silent_twice",
       .text = "读取DN码",
       .reader = FaultAt("dn", "drop"),
       .waits = 2 * kReaderTimeout},
      {.name = "47_write_fails",
       .text = "监测到HID设备断开",
       .reader = FaultAt("input-key", "io-error")},
      {.name = "47_read_fails",
       .text = "监测到HID设备断开",
       .reader = FaultAt("output-key", "io-error", {{"on", "read"}})},
      {.name = "47_unplugged_in_a_file",
       .text = "监测到HID设备断开",
       .reader = FaultAt("file-13", "unplug", {{"replug", 0}})},

      ServiceDrops("08_heartbeat_not_answered", "heartbeat", "网络获取心跳失败"),
      ServiceDrops("10_dn_not_answered", "dn", "网络获取DN失败"),
      ServiceDrops("12_key_not_answered", "output-key", "网络获取OUTPUTKEY失败"),
      ServiceDrops("14_sector_11_not_answered", "sector-11", "网络获取SECTOR11失败"),
      ServiceDrops("16_sector_12_not_answered", "sector-12", "网络获取SECTOR12失败"),
      ServiceDrops("18_sector_13_not_answered", "sector-13", "网络获取SECTOR13失败"),
      ServiceDrops("20_sector_21_not_answered", "sector-21", "网络获取SECTOR21失败"),
      ServiceDrops("22_content_not_sent", "content", "网络获取身份证详情失败"),
      ServiceDrops("50_login_not_answered", "login", "接收注册失败"),
      {.name = "10_connection_closed_at_dn",
       .text = "网络获取DN失败",
       .service = FaultAt("dn", "close")},
      {.name = "50_connection_closed_at_login",
       .text = "接收注册失败",
       .service = FaultAt("login", "close")},
      {.name = "22_content_without_data",
       .text = "网络获取身份证详情失败",
       .service = FaultAt("content", "no-data"),
       .waits = 3 * kServiceTimeout},
      {.name = "44_dn_refused", .text = "网络解析1-Json错误", .service = FaultAt("dn", "refuse")},
      {.name = "44_dn_wrong_marker",
       .text = "网络解析1-Json错误",
       .service = FaultAt("dn", "wrong-marker")},
      {.name = "44_dn_short_key",
       .text = "网络解析1-Json错误",
       .service = FaultAt("dn", "short-key")},
      {.name = "44_dn_without_data",
       .text = "网络解析1-Json错误",
       .service = FaultAt("dn", "no-data")},
      {.name = "45_key_refused",
       .text = "网络解析2-Json错误",
       .service = FaultAt("output-key", "refuse")},
      {.name = "45_key_corrupt",
       .text = "网络解析2-Json错误",
       .service = FaultAt("output-key", "wrong-marker")},
      {.name = "46_answers_too_slow",
       .text = "监测到读卡流程超时",
       .service =
           {{"latency",
             {{"sector-11", 800}, {"sector-12", 800}, {"sector-13", 800}, {"sector-21", 800}}}},
       .waits = kFinalTimeout},
      {.name = "51_login_refused",
       .text = "网络解析token错误",
       .service = FaultAt("login", "refuse")},
      {.name = "51_token_too_short",
       .text = "网络解析token错误",
       .service = FaultAt("login", "short-token")},
      {.name = "55_content_not_compressed",
       .text = "解压数据失败",
       .service = FaultAt("content", "bad-zlib")},
      {.name = "55_content_damaged",
       .text = "解压数据失败",
       .service = FaultAt("content", "corrupt")},
      {.name = "55_content_empty", .text = "解压数据失败", .service = FaultAt("content", "empty")},
  };
  return cases;
}

// Names the case in test lists and messages.
void PrintTo(const FailureCase& failure, std::ostream* stream) { *stream << failure.name; }

class FailureTest : public ApiTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(FailureTest, EndsInTimeWithItsTextAndSpoilsNothing) {
  const FailureCase& failure = GetParam();
  const bool heartbeatOpens = std::string(failure.name).starts_with("08");
  if (heartbeatOpens) ExpectGoodRead(kAnyCard);

  desk.Put(kAnyCard);
  desk.Misbehave(failure.reader);
  ServiceMisbehaves(failure.service);
  const ReadResult read = Read();
  EXPECT_EQ(read.result, 0);
  EXPECT_LT(read.duration, failure.waits + kSlack);
  EXPECT_TRUE(LastError().starts_with(Gbk(failure.text)))
      << "wanted in GBK: " << failure.text << ", got in UTF-8 or GBK: " << LastError();
  ExpectNoRecord(*library);

  desk.Behave();
  ServiceBehaves();
  ExpectGoodRead("gat");
}

INSTANTIATE_TEST_SUITE_P(Codes, FailureTest, testing::ValuesIn(FailureCases()),
                         [](const auto& param) { return std::string("Code") + param.param.name; });

class FailureWithoutScenarioTest : public ApiTest {};

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

class NuisanceTest : public ApiTest, public testing::WithParamInterface<NuisanceCase> {};

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
}  // namespace apitest
