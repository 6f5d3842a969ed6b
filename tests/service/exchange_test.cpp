#include "service/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "service/scripted_sockets.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/captured_output.h"
#include "support/logged_lines.h"
#include "support/test_clock.h"
#include "support/text.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr auto kHeartbeat = ServiceCommand::heartbeat;
constexpr auto kDn = ServiceCommand::dn;
constexpr auto kOutputKey = ServiceCommand::output_key;
constexpr auto kSector11 = ServiceCommand::sector11;
constexpr auto kSector21 = ServiceCommand::sector21;

const Dialect& kToken = TokenDialect();
const Dialect& kOld = DeviceCodeDialect();

class ExchangeTest : public testing::Test {
 protected:
  ExchangeTest() { transport.CreateSocket(); }

  // What one exchange brings.
  std::string Run(const Dialect& dialect, ServiceCommand command,
                  const std::vector<std::string>& answers = {}) {
    for (const std::string& answer : answers) sockets.Answer(answer);
    traces.clear();
    const ExchangeResult result = PerformExchange(
        command, command < kSector11 ? Block(64, 1) : Block(), dialect, session, transport, clock,
        [this](std::string_view line) { traces.emplace_back(line); });
    content = {result.entries.begin(), result.entries.end()};
    refused = result.answer;
    std::string brought;
    if (!result.key.empty()) {
      brought += "key " + std::to_string(static_cast<int>(result.keyKind)) + " " +
                 HexText(result.key) + ";";
    }
    if (content.count(ResultItem::success) != 0) brought += "content;";
    if (content.count(ResultItem::done) != 0) brought += "done;";
    if (result.login) brought += result.login->loggedIn ? "logged in;" : "logged out;";
    if (result.failureCode != 0) {
      brought += "fail " + std::to_string(result.failureCode) + "," + result.detail + ";";
    }
    return brought;
  }

  ScriptedSockets sockets;
  SocketTransport transport{sockets};
  TestClock clock;
  ServiceSession session{{}, {true, "tk-1"}};
  std::vector<std::string> traces;
  std::map<ResultItem, std::string> content;
  std::string refused;
};

struct TraceCase {
  ServiceCommand command;
  const char* traces;  // up to the message
  int notSent;
};

TEST_F(ExchangeTest, EachHasItsTraceWordsAndCodes) {
  const TraceCase rows[] = {
      {ServiceCommand::login, "Login 1 ******;Login 2 ******;Login 3 ******;Login Send;", 49},
      {kHeartbeat,
       "InitDecodeChannel 1 ******;InitDecodeChannel 2 ******;InitDecodeChannel 3 ******;"
       "InitDecodeChannel Send;",
       7},
      {kDn, "UploadDN 2 ******;UploadDN Send;", 9},
      {kOutputKey, "UploadOutputKey 4 ******;UploadOutputKey Send;", 11},
      {kSector11, "UploadSector11Data 5 ******;UploadSector11Data Send;", 13},
      {ServiceCommand::sector12, "UploadSector12Data 6 ******;UploadSector12Data Send;", 15},
      {ServiceCommand::sector13, "UploadSector13Data 7 ******;UploadSector13Data Send;", 17},
      {kSector21,
       "UploadSector21Data 8 ******;UploadSector21Data Send NoFinger;UploadSector21Data Send;",
       19}};
  session.login = {};
  for (const TraceCase& row : rows) {
    for (const int code : {row.notSent, row.notSent + 1}) {
      sockets.sendResult = code == row.notSent ? -1 : 0;
      EXPECT_EQ(Run(kToken, row.command), "fail " + std::to_string(code) + ",;");
      std::string traced;
      for (const std::string& line : traces) traced += line.substr(0, line.find('{')) + ";";
      EXPECT_EQ(traced, row.traces);
    }
  }
  EXPECT_EQ(Run(kToken, ServiceCommand::login, {wire::kLoginAnswer}), "logged in;");
  session.login.loggedIn = true;
  EXPECT_EQ(Run(kToken, ServiceCommand::login) + Run(kToken, static_cast<ServiceCommand>(7)), "");
  EXPECT_EQ(sockets.Sent().size(), 17U);
}

TEST_F(ExchangeTest, AnAnswerIsFiledOrRefused) {
  EXPECT_EQ(Run(kToken, kHeartbeat, {"anything at all"}), "");
  EXPECT_EQ(Run(kToken, kSector11, {R"({"code":"07"})"}) + Run(kOld, kSector11, {"x"}), "");
  EXPECT_EQ(Run(kToken, kSector11, {""}), "fail 14,;");  // the end of the connection
  EXPECT_EQ(Run(kOld, kOutputKey, {wire::FirstAnswer(wire::kOutputKeyData)}),
            "key 7 A1A2A3A4A5A6A7A8;");
  EXPECT_EQ(Run(kToken, kDn, {R"({"code":"01","msg":"token已过期"})"}), "logged out;fail 44,;");
  EXPECT_EQ(Run(kToken, kDn, {wire::OutputKeyAnswer()}), "fail 44,;");
  EXPECT_EQ(refused, wire::OutputKeyAnswer());  // for the error log
  EXPECT_EQ(Run(kToken, kDn, {wire::InputKeyAnswer()}), "key 6 1122334455667788;");
  EXPECT_THAT(traces,
              ElementsAre("UploadDN 2 ******", StartsWith(R"(UploadDN Send{"type":"dn2")"),
                          StartsWith(R"(UploadDN Read{"code":"00")"),
                          "ParseDataInputkeyNew 3 ******", "ParseDataInputkeyNew 3 ******   dn"));
}

constexpr char kCard[] = "content;done;";

// The text in pieces that end at these places.
std::vector<std::string> Cut(const std::string& text, const std::vector<std::size_t>& ends) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  for (const std::size_t end : ends) {
    pieces.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  pieces.push_back(text.substr(begin));
  return pieces;
}

TEST_F(ExchangeTest, TheContentIsJoinedUpToItsLineEnd) {
  const std::string answer = wire::PermitAnswer();
  EXPECT_EQ(Run(kToken, kSector21, {answer, "more"}), kCard);
  EXPECT_THAT(traces,
              ElementsAre(StartsWith("UploadSector21Data 8"), "UploadSector21Data Send NoFinger",
                          StartsWith("UploadSector21Data Send{"),
                          "UploadSector21Data Read" + answer, Gbk("New idCard Read Ori：") + answer,
                          "ParseIDContent", "ParseIDContent NEW End"));
  EXPECT_EQ(content[ResultItem::id_number], "810000199001020011");
  EXPECT_EQ(content[ResultItem::name], Gbk("陈大文"));
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
  Run(kToken, kHeartbeat);
  EXPECT_EQ(Run(kToken, kSector21, {wire::kAcknowledgement, answer}), kCard);
  EXPECT_EQ(Run(kToken, kSector21, Cut(answer, {201})), kCard);
  EXPECT_EQ(Run(kToken, kSector21, Cut(answer, {210, 220, 230})), kCard);
  // 200 bytes count as an acknowledgement and are gone.
  EXPECT_EQ(Run(kToken, kSector21, Cut(answer, {200})), "fail 22,;");
  // Without a line end the joining stops after three more receives, with what is there.
  EXPECT_EQ(Run(kToken, kSector21, Cut(answer, {210, 220, 230, 240})), "fail 22,;");
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
  Run(kToken, kHeartbeat);
  EXPECT_EQ(Run(kToken, kSector21, Cut(answer.substr(0, answer.size() - 1), {210, 220, 230})),
            kCard);
  EXPECT_EQ(Run(kToken, kSector21, {answer.substr(0, answer.size() - 1)}), "fail 22,;");
  EXPECT_EQ(Run(kToken, kSector21, {wire::kAcknowledgement}), "fail 22,;");
}

TEST_F(ExchangeTest, AContentThatIsNoneIsNotParsed) {
  const std::string filler(200, 'x');
  EXPECT_EQ(Run(kToken, kSector21, {R"({"date":")" + filler + "\"}\n"}), "fail 22,;");
  CapturedOutput output;
  EXPECT_EQ(Run(kToken, kSector21, {wire::PermitAnswer()}), kCard);
  EXPECT_EQ(Run(kToken, kSector21, {R"({"data":")" + filler + "\"}\n"}), "fail 55,;");
  EXPECT_EQ(Run(kToken, kSector21, {R"({"data":"","x":")" + filler + "\"}\n"}), "fail 55,;");
  const std::string printed = output.Take();
  EXPECT_THAT(printed, StartsWith("ret=1,out_len=227"));  // printed whatever the result is
  EXPECT_THAT(printed, testing::HasSubstr("ret=-3,out_len=0"));
  const LoggedLines errors;
  EXPECT_EQ(Run(kOld, kSector21, {R"({"data":"FIFTH INFO","type":"passport"})"}), "done;");
  EXPECT_THAT(errors.Get(), ElementsAre("parse type fail"));
}

TEST_F(ExchangeTest, TheOldDialectsContentIsJoinedUpToItsTwoWords) {
  const std::string text = R"({"data":"x","dataType":"FIFTH","kind":"INFO",)" +
                           std::string(wire::kPermitContent).substr(1);
  EXPECT_EQ(Run(kOld, kSector21, {text}), kCard);
  // This dialect sends the fingerprint area also when there is nothing in it.
  EXPECT_THAT(sockets.Sent().back(), StartsWith(R"({"sbm":"Appid&IDCard&PcDevice","type":"INFO",)"
                                                R"("dataType":"FIRST","data":[-101,-57,29,-31,)"));
  EXPECT_EQ(content[ResultItem::name], Gbk("陈大文"));
  EXPECT_EQ(traces[1], "UploadSector21Data Send Finger");
  EXPECT_EQ(traces[4], Gbk("ReadIDContent Read Sucess！"));
  EXPECT_EQ(Run(kOld, kSector21, {"ok", text}), kCard);
  EXPECT_EQ(Run(kOld, kSector21, Cut(text, {12})), kCard);
  EXPECT_EQ(Run(kOld, kSector21, Cut("ok" + text, {2, 14, 34})), kCard);
  EXPECT_EQ(Run(kOld, kSector21, {text.substr(0, 30), text}), kCard);  // begins anew
  EXPECT_EQ(Run(kOld, kDn, {text}) + Run(kOld, kOutputKey, {text}),    // instead of a key
            kCard + std::string(kCard));
  EXPECT_EQ(Run(kOld, kSector21, {R"({"data":"INFO FIFTH"})"}), "fail 22,;");
  clock.sleptMs = 0;
  EXPECT_EQ(Run(kOld, kSector21, {"ok"}), "fail 22,;");
  EXPECT_EQ(clock.sleptMs, 10U);  // between three attempts
  EXPECT_EQ(Run(kOld, kSector21, {"a", "b", "c", "d", "e"}), "fail 22,;");
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
}

}  // namespace
}  // namespace idcardreader
