#include "service/decode_transaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "service/scripted_sockets.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/hex_text.h"
#include "support/logged_lines.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

// Writes down what comes of an exchange.
class RecordingSink : public ExchangeSink {
 public:
  bool Tracing() const override { return true; }
  void Trace(std::string_view text) override { traces.emplace_back(text); }
  void FileKey(std::int32_t item, const Block& key) override {
    filed.push_back("key " + std::to_string(item) + " " + HexText(key));
  }
  void FileContent(const std::vector<std::pair<std::int32_t, std::string>>& entries) override {
    content = {entries.begin(), entries.end()};
    filed.push_back("content");
  }
  void FileDone() override { filed.push_back("done"); }
  void ReportFailure(std::int32_t code, std::string_view detail, std::string_view answer) override {
    filed.push_back("fail " + std::to_string(code) + "," + std::string(detail));
    refused = answer;
  }

  std::vector<std::string> filed;
  std::vector<std::string> traces;
  std::map<std::int32_t, std::string> content;
  std::string refused;
};

class DecodeTransactionTest : public testing::Test {
 protected:
  DecodeTransactionTest() { transport.CreateSocket(); }

  using Exchange = std::function<void(DecodeTransaction&)>;

  void Run(Dialect dialect, const Exchange& exchange) {
    DecodeTransaction transaction(transport, sink, clock, dialect, identity, login);
    exchange(transaction);
  }
  void Answer(std::initializer_list<std::string> answers) {
    for (const std::string& answer : answers) sockets.Answer(answer);
  }

  ScriptedSockets sockets;
  SocketTransport transport{sockets};
  RecordingSink sink;
  TestClock clock;
  ServiceIdentity identity;
  LoginState login{true, "tk-1"};
};

const Block kFile(1024, 0);

void Login(DecodeTransaction& transaction) { transaction.Login(); }
void Heartbeat(DecodeTransaction& transaction) { transaction.InitDecodeChannel(); }
void Dn(DecodeTransaction& transaction) { transaction.UploadDN(Block(64, 1)); }
void OutputKey(DecodeTransaction& transaction) { transaction.UploadOutputKey(Block(64, 1)); }
void Sector11(DecodeTransaction& transaction) { transaction.UploadSector11Data(kFile); }
void Sector12(DecodeTransaction& transaction) { transaction.UploadSector12Data(kFile); }
void Sector13(DecodeTransaction& transaction) { transaction.UploadSector13Data(kFile); }
void Sector21(DecodeTransaction& transaction) { transaction.UploadSector21Data(kFile); }
void Fingerprints(DecodeTransaction& transaction) {
  transaction.UploadSector21Data(Block(1024, 1));
}

struct WireFailure {
  const char* name;
  void (*exchange)(DecodeTransaction&);
  int sendCode;
  int receiveCode;
};

class WireFailureOf : public DecodeTransactionTest,
                      public testing::WithParamInterface<WireFailure> {};

TEST_P(WireFailureOf, AnExchangeHasItsOwnCodes) {
  for (const Dialect dialect : {Dialect::token, Dialect::device_code}) {
    login.loggedIn = false;
    sink.filed.clear();
    sockets.sendResult = -1;
    Run(dialect, GetParam().exchange);
    sockets.sendResult = 0;
    Run(dialect, GetParam().exchange);
    EXPECT_THAT(sink.filed, ElementsAre("fail " + std::to_string(GetParam().sendCode) + ",",
                                        "fail " + std::to_string(GetParam().receiveCode) + ","));
    EXPECT_EQ(sink.refused, "");
  }
  EXPECT_EQ(sockets.Sent().size(), 4U);
}

INSTANTIATE_TEST_SUITE_P(Exchanges, WireFailureOf,
                         testing::Values(WireFailure{"Heartbeat", Heartbeat, 7, 8},
                                         WireFailure{"Dn", Dn, 9, 10},
                                         WireFailure{"OutputKey", OutputKey, 11, 12},
                                         WireFailure{"Sector11", Sector11, 13, 14},
                                         WireFailure{"Sector12", Sector12, 15, 16},
                                         WireFailure{"Sector13", Sector13, 17, 18},
                                         WireFailure{"Sector21", Sector21, 19, 20},
                                         WireFailure{"Login", Login, 49, 50}),
                         [](const auto& failure) { return failure.param.name; });

struct AnswerCase {
  const char* name;
  Dialect dialect;
  void (*exchange)(DecodeTransaction&);
  std::string answer;
  std::string filed;  // empty: nothing
};

class AnswerTo : public DecodeTransactionTest, public testing::WithParamInterface<AnswerCase> {};

TEST_P(AnswerTo, AnExchangeIsFiledOrRefused) {
  Answer({GetParam().answer});
  Run(GetParam().dialect, GetParam().exchange);
  std::string filed;
  for (const std::string& record : sink.filed) filed += record;
  EXPECT_EQ(filed, GetParam().filed);
  // A refused answer is kept for the error log.
  EXPECT_EQ(sink.refused, filed.starts_with("fail") ? GetParam().answer : "");
}

constexpr char kRefused[] = R"({"code":"07"})";

INSTANTIATE_TEST_SUITE_P(
    Exchanges, AnswerTo,
    testing::Values(
        AnswerCase{"Heartbeat", Dialect::token, Heartbeat, "anything at all", ""},
        AnswerCase{"Dn", Dialect::token, Dn, wire::InputKeyAnswer(), "key 6 1122334455667788"},
        AnswerCase{"DnRefused", Dialect::token, Dn, kRefused, "fail 44,"},
        AnswerCase{"DnOtherKey", Dialect::token, Dn, wire::OutputKeyAnswer(), "fail 44,"},
        AnswerCase{"OutputKey", Dialect::token, OutputKey, wire::OutputKeyAnswer(),
                   "key 7 A1A2A3A4A5A6A7A8"},
        AnswerCase{"OutputKeyRefused", Dialect::token, OutputKey, kRefused, "fail 45,"},
        AnswerCase{"OldDn", Dialect::device_code, Dn, wire::FirstAnswer(wire::kInputKeyData),
                   "key 6 1122334455667788"},
        AnswerCase{"OldDnShort", Dialect::device_code, Dn, wire::FirstAnswer(wire::kShortKeyData),
                   "fail 44,"},
        AnswerCase{"OldOutputKey", Dialect::device_code, OutputKey,
                   wire::FirstAnswer(wire::kOutputKeyData), "key 7 A1A2A3A4A5A6A7A8"},
        AnswerCase{"OldOutputKeyRefused", Dialect::device_code, OutputKey, kRefused, "fail 45,"},
        // Only the first answer may skip the rest of the relay.
        AnswerCase{"OldOutputKeyContent", Dialect::device_code, OutputKey,
                   R"({"dataType":"FIFTH","data":"INFO"})", "fail 45,"},
        AnswerCase{"Sector11", Dialect::token, Sector11, kRefused, ""},
        AnswerCase{"Sector12", Dialect::device_code, Sector12, kRefused, ""},
        AnswerCase{"Sector13", Dialect::token, Sector13, "x", ""}),
    [](const auto& answer) { return answer.param.name; });

TEST_F(DecodeTransactionTest, LoginKeepsItsTokenAndIsDoneOnce) {
  login = {};
  Answer({wire::kLoginAnswer, "unwanted"});
  Run(Dialect::token, Login);
  EXPECT_TRUE(login.loggedIn);
  EXPECT_EQ(login.token, "tk-1");
  Run(Dialect::token, Login);
  EXPECT_THAT(sockets.Sent(), ElementsAre(LoginMessage(identity)));
  EXPECT_TRUE(sink.filed.empty());
}

TEST_F(DecodeTransactionTest, ARefusedLoginNamesTheServicesCode) {
  login = {};
  Answer({R"({"code":"17","msg":"no"})", R"({"code":"00","token":"a"})", "rubbish"});
  for (int count = 0; count < 3; ++count) Run(Dialect::token, Login);
  EXPECT_THAT(sink.filed, ElementsAre("fail 51,code:17", "fail 51,", "fail 51,"));
  EXPECT_EQ(sink.refused, "rubbish");
  EXPECT_FALSE(login.loggedIn);
}

TEST_F(DecodeTransactionTest, AnExpiredTokenLogsOut) {
  for (const auto exchange : {Dn, OutputKey}) {
    login.loggedIn = true;
    Answer({R"({"code":"09","msg":"token已过期"})"});
    Run(Dialect::token, exchange);
    EXPECT_FALSE(login.loggedIn);
  }
  EXPECT_THAT(sink.filed, ElementsAre("fail 44,", "fail 45,"));
}

TEST_F(DecodeTransactionTest, TracesItsSteps) {
  Answer({wire::InputKeyAnswer()});
  Run(Dialect::token, Dn);
  EXPECT_THAT(sink.traces,
              ElementsAre("UploadDN 2 ******", StartsWith(R"(UploadDN Send{"type":"dn2")"),
                          StartsWith(R"(UploadDN Read{"code":"00")"),
                          "ParseDataInputkeyNew 3 ******", "ParseDataInputkeyNew 3 ******   dn"));
}

TEST_F(DecodeTransactionTest, Sector21SaysWhetherThereAreFingerprints) {
  Answer({wire::PermitAnswer(), wire::PermitAnswer(), "x", "x", "x", "x"});
  Run(Dialect::token, Sector21);
  Run(Dialect::token, Fingerprints);
  Run(Dialect::device_code, Sector21);
  const auto sent = sockets.Sent();
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[0], "{\"type\":\"BB21_2\",\"token\":\"tk-1\"}\n");
  EXPECT_THAT(sent[1], StartsWith(R"({"type":"BB21","token":"tk-1","data":[)"));
  EXPECT_THAT(sent[2], StartsWith(R"({"sbm":"Appid&IDCard&PcDevice","type":"INFO",)"
                                  R"("dataType":"FIRST","data":[-101,-57,29,-31,)"));
}

struct ContentCase {
  const char* name;
  Dialect dialect;
  std::vector<std::string> answers;
  std::vector<std::string> filed;
  std::size_t answersLeft = 0;
};

class ContentAnswer : public DecodeTransactionTest,
                      public testing::WithParamInterface<ContentCase> {};

TEST_P(ContentAnswer, IsJoinedFromItsReceives) {
  for (const std::string& answer : GetParam().answers) sockets.Answer(answer);
  Run(GetParam().dialect, Sector21);
  EXPECT_EQ(sink.filed, GetParam().filed);
  EXPECT_EQ(sockets.AnswersLeft(), GetParam().answersLeft);
  if (sink.filed.front() == "content") {
    EXPECT_EQ(sink.content[32], "810000199001020011");
    EXPECT_EQ(sink.content[35], Gbk("陈大文"));
    EXPECT_EQ(sink.content[50], "Success");
  }
}

// The old dialect's content is the card's text with three words in it.
std::string OldContent() {
  return R"({"data":"x","dataType":"FIFTH","kind":"INFO",)" +
         std::string(wire::kPermitContent).substr(1);
}

const std::vector<std::string> kCard = {"content", "done"};
const std::vector<std::string> kNoContent = {"fail 22,"};

std::string Part(const std::string& text, std::size_t begin,
                 std::size_t count = std::string::npos) {
  return text.substr(begin, count);
}

INSTANTIATE_TEST_SUITE_P(
    Token, ContentAnswer,
    testing::Values(
        ContentCase{"AtOnce", Dialect::token, {wire::PermitAnswer(), "more"}, kCard, 1},
        ContentCase{"BehindAnAcknowledgement",
                    Dialect::token,
                    {wire::kAcknowledgement, wire::PermitAnswer()},
                    kCard},
        ContentCase{"InTwo",
                    Dialect::token,
                    {Part(wire::PermitAnswer(), 0, 201), Part(wire::PermitAnswer(), 201)},
                    kCard},
        // 200 bytes count as an acknowledgement and are gone.
        ContentCase{"FirstPartTooShort",
                    Dialect::token,
                    {Part(wire::PermitAnswer(), 0, 200), Part(wire::PermitAnswer(), 200)},
                    kNoContent},
        ContentCase{"InFour",
                    Dialect::token,
                    {Part(wire::PermitAnswer(), 0, 210), Part(wire::PermitAnswer(), 210, 10),
                     Part(wire::PermitAnswer(), 220, 10), Part(wire::PermitAnswer(), 230)},
                    kCard},
        // After three more receives the joining stops, with what is there.
        ContentCase{"InFive",
                    Dialect::token,
                    {Part(wire::PermitAnswer(), 0, 210), Part(wire::PermitAnswer(), 210, 10),
                     Part(wire::PermitAnswer(), 220, 10), Part(wire::PermitAnswer(), 230, 10),
                     Part(wire::PermitAnswer(), 240)},
                    kNoContent,
                    1},
        ContentCase{"WithoutALineEnd",
                    Dialect::token,
                    {Part(wire::PermitAnswer(), 0, wire::PermitAnswer().size() - 1)},
                    kNoContent},
        ContentCase{"NeverComes", Dialect::token, {wire::kAcknowledgement}, kNoContent},
        ContentCase{"WithoutData",
                    Dialect::token,
                    {R"({"date":")" + std::string(200, 'x') + "\"}\n"},
                    kNoContent},
        ContentCase{"NotCompressed",
                    Dialect::token,
                    {R"({"data":")" + std::string(200, 'x') + "\"}\n"},
                    {"fail 55,"}},
        ContentCase{"EmptyData",
                    Dialect::token,
                    {R"({"data":"")" + std::string(200, ' ') + "}\n"},
                    {"fail 55,"}}),
    [](const auto& content) { return content.param.name; });

INSTANTIATE_TEST_SUITE_P(
    DeviceCode, ContentAnswer,
    testing::Values(
        ContentCase{"AtOnce", Dialect::device_code, {OldContent()}, kCard},
        ContentCase{"BehindAnAcknowledgement", Dialect::device_code, {"ok", OldContent()}, kCard},
        ContentCase{"InTwo",
                    Dialect::device_code,
                    {Part(OldContent(), 0, 12), Part(OldContent(), 12)},
                    kCard},
        ContentCase{
            "InThreeBehindAnAcknowledgement",
            Dialect::device_code,
            {"ok", Part(OldContent(), 0, 12), Part(OldContent(), 12, 20), Part(OldContent(), 32)},
            kCard},
        ContentCase{
            "BeginsAnew", Dialect::device_code, {Part(OldContent(), 0, 30), OldContent()}, kCard},
        ContentCase{
            "ThreeReceivesWithout", Dialect::device_code, {"a", "b", "c", "d", "e"}, kNoContent, 1},
        ContentCase{"NeverComes", Dialect::device_code, {"ok"}, kNoContent}),
    [](const auto& content) { return content.param.name; });

TEST_F(DecodeTransactionTest, TheOldDialectMayAnswerTheDnWithTheContent) {
  Answer({OldContent()});
  Run(Dialect::device_code, Dn);
  EXPECT_THAT(sink.filed, ElementsAre("content", "done"));
}

TEST_F(DecodeTransactionTest, PrintsWhatInflatingGave) {
  Answer({wire::PermitAnswer(), R"({"data":")" + std::string(200, 'x') + "\"}\n"});
  testing::internal::CaptureStdout();
  Run(Dialect::token, Sector21);
  Run(Dialect::token, Sector21);
  std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_THAT(printed, StartsWith("ret=1,out_len=227"));
  EXPECT_THAT(printed, testing::HasSubstr("ret=-3,out_len=0"));
}

TEST_F(DecodeTransactionTest, AContentOfUnknownTypeFilesNoField) {
  const LoggedLines errors;
  Answer({R"({"data":"FIFTH INFO","type":"passport"})"});
  Run(Dialect::device_code, Sector21);
  EXPECT_THAT(sink.filed, ElementsAre("done"));
  EXPECT_THAT(errors.Get(), ElementsAre("parse type fail"));
}

}  // namespace
}  // namespace idcardreader
