#include "service/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "service/base64.h"
#include "service/scripted_sockets.h"
#include "service/wire_samples.h"
#include "support/bytes.h"
#include "support/captured_output.h"
#include "support/logs.h"
#include "support/test_clock.h"
#include "support/text.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const Dialect& kToken = TokenDialect();
const Dialect& kOld = DeviceCodeDialect();

class ExchangeTest : public testing::Test {
 protected:
  using enum ServiceCommand;

  ExchangeTest() { transport.CreateSocket(); }

  // What one exchange brings.
  std::string Run(const Dialect& dialect, ServiceCommand command,
                  const std::vector<std::string>& answers = {}, const Block& block = Block(64)) {
    for (const std::string& answer : answers) sockets.Answer(answer);
    traces.clear();
    const ExchangeResult result =
        PerformExchange(command, block, dialect, {{}, token}, transport, clock,
                        [this](std::string_view line) { traces.emplace_back(line); });
    content = {result.entries.begin(), result.entries.end()};
    refused = result.answer;
    std::string brought;
    if (!result.key.empty()) {
      brought += (result.keyKind == KeyKind::input ? "in " : "out ") + HexText(result.key) + ";";
    }
    if (content.count(ResultItem::success) != 0) brought += "content;";
    if (content.count(ResultItem::done) != 0) brought += "done;";
    if (result.token) brought += "token " + *result.token + ";";
    if (result.failureCode != 0) {
      brought += "fail " + std::to_string(result.failureCode) + "," + result.detail + ";";
    }
    return brought;
  }

  ScriptedSockets sockets;
  SocketTransport transport{sockets};
  TestClock clock;
  std::string token;
  std::vector<std::string> traces;
  std::map<ResultItem, std::string> content;
  std::string refused;
};

TEST_F(ExchangeTest, AnAnswerIsUnderstoodOrRefused) {
  const auto keyAnswer = [](const std::string& data) {
    return R"({"code":"00","type":"dn","data":)" + data + "}";
  };
  devkit::Bytes shortened = wire::KeyBlock(0xA2, "1122334455667788");
  devkit::Bytes strange = shortened;
  shortened.pop_back();
  strange[0] = 0xBC;
  // Far more than a key block has.
  std::string oversized = wire::kInputKeyData;
  oversized.pop_back();
  for (int element = 0; element < 5000; ++element) oversized += ",-1";
  const struct {
    const Dialect& dialect;
    ServiceCommand command;
    std::string answer;
    const char* brought;
  } rows[] = {
      {kToken, login, R"({"token":"ab","code":00})", "token ab;"},
      {kToken, login, R"({"code":"00","token":abc})", "fail 51,;"},
      {kToken, login, R"({"code":"00","token":"ab)", "fail 51,;"},
      {kToken, login, R"({"code":"000","token":"ab"})", "fail 51,code:000;"},
      {kToken, heartbeat, "anything at all", ""},
      {kToken, sector11, "", "fail 14,;"},  // the end of the connection
      {kToken, dn, wire::InputKeyAnswer(), "in 1122334455667788;"},
      {kToken, dn, keyAnswer(wire::kOutputKeyData), "fail 44,;"},  // the word says another key
      {kToken, output_key, wire::InputKeyAnswer(), "fail 45,;"},
      {kToken, output_key, keyAnswer(wire::kOutputKeyData), "fail 45,;"},  // under another word
      {kToken, dn, keyAnswer(wire::kInputKeyData).replace(19, 2, "BBB2"), "fail 44,;"},
      {kToken, dn, keyAnswer(wire::KeyData(shortened)), "fail 44,;"},
      {kToken, dn, keyAnswer(wire::KeyData(strange)), "fail 44,;"},
      {kToken, dn, keyAnswer(oversized + "]"), "fail 44,;"},
      {kToken, dn, keyAnswer(wire::kInputKeyData).replace(9, 2, "01"), "fail 44,;"},
      {kToken, dn, R"({"code":"01","msg":"token已过期"})", "token ;fail 44,;"},
      {kToken, dn, Gbk(R"({"code":"01","msg":"token已过期"})"), "token ;fail 44,;"},
      {kToken, dn, R"({"code":"01","msg":"token"})", "fail 44,;"},
      {kToken, dn, R"({"code":"00","msg":"token已过期"})", "fail 44,;"},
      {kOld, dn, wire::FirstAnswer(wire::kInputKeyData), "in 1122334455667788;"},
      {kOld, output_key, wire::FirstAnswer(wire::kOutputKeyData), "out A1A2A3A4A5A6A7A8;"},
      {kOld, dn, R"({"dataType":"THIRD","data":)" + std::string(wire::kInputKeyData) + "}",
       "fail 44,;"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Run(row.dialect, row.command, {row.answer}), row.brought) << row.answer;
    const bool refusal = std::string(row.brought).find("fail") != std::string::npos;
    EXPECT_EQ(refused, refusal ? row.answer : "");  // for the error log
  }
  token = "tk";
  EXPECT_EQ(Run(kToken, login, {"any"}), "");  // nothing to be done
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
}

constexpr char kCard[] = "content;done;";

// The text in pieces that end at these places.
std::vector<std::string> Cut(std::string text, std::vector<std::size_t> ends) {
  std::vector<std::string> pieces = {text.substr(0, ends.front())};
  ends.push_back(text.size());
  for (std::size_t i = 1; i < ends.size(); ++i) {
    pieces.push_back(text.substr(ends[i - 1], ends[i] - ends[i - 1]));
  }
  return pieces;
}

TEST_F(ExchangeTest, TheContentIsJoinedUpToItsLineEnd) {
  Run(kToken, sector21, {}, {0, 0, 1, 0});  // the third byte still tells a fingerprint
  EXPECT_EQ(traces[1], "UploadSector21Data Send Finger");
  const std::string answer = wire::PermitAnswer();
  EXPECT_EQ(Run(kToken, sector21, {wire::kAcknowledgement, answer}), kCard);
  traces.erase(traces.begin(), traces.begin() + 3);
  EXPECT_THAT(traces, ElementsAre(std::string("UploadSector21Data Read") + wire::kAcknowledgement,
                                  Gbk("New idCard Read Ori：") + answer, "ParseIDContent",
                                  "ParseIDContent NEW End"));
  EXPECT_EQ(content[ResultItem::name], Gbk("陈大文"));
  // What is shorter than 201 bytes counts as an acknowledgement and is gone.
  EXPECT_EQ(Run(kToken, sector21, Cut(answer, {200})), "fail 22,;");
  EXPECT_EQ(Run(kToken, sector21, Cut(answer, {201, 220, 230})), kCard);
  // Without a line end the joining stops after three more receives, with what is there.
  EXPECT_EQ(Run(kToken, sector21, Cut(answer.substr(0, answer.size() - 1), {210, 220, 230})),
            kCard);
  EXPECT_EQ(Run(kToken, sector21, Cut(answer, {210, 220, 230, 240})), "fail 22,;");
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
}

TEST_F(ExchangeTest, AContentIsParsedWhenAllOfItInflates) {
  constexpr char kJustFits[] = "eNpLTBxZAADRXlrx";  // 240 bytes, twenty times its own
  std::string partial = wire::kPermitData;          // inflates but for the sum at its end
  partial.replace(partial.size() - 4, 4, "AAAA");
  const std::pair<std::string, const char*> rows[] = {
      {wire::kPermitData, kCard},
      {partial, "fail 55,;"},
      {kJustFits, "done;"},
      {std::string(kJustFits) + "AAAA", "done;"},  // more behind it
      {"eNpLTBxhAAAsv1tS", "fail 55,;"},           // one byte too many
      {"eNpLTBxZAADR", "fail 55,;"},               // cut off
      {"eJwDAAAAAAE=", "fail 55,;"}};              // a stream of nothing
  CapturedOutput output;
  for (const auto& [data, brought] : rows) {
    const std::string answer =
        R"({"data":")" + data + R"(","filler":")" + std::string(200, 'x') + "\"}\n";
    EXPECT_EQ(Run(kToken, sector21, {answer}), brought) << data;
  }
  EXPECT_EQ(ErrorLog().LastMessage(), "parse type fail");
  // A text of an earlier test may have been late.
  EXPECT_THAT(output.Take(), HasSubstr("ret=1,out_len=227\nret=-3,out_len=227\nret=1,out_len=240"));
}

TEST(Base64, KnowsTheStandardAlphabet) {
  const std::pair<std::string_view, const char*> rows[] = {{"Zg==", "66"},
                                                           {"Zm9vYg==", "666F6F62"},
                                                           {" Zm9v\r\n\tYmFy\n", "666F6F626172"},
                                                           {"+/+/AA==", "FBFFBF00"},
                                                           {"Zm8", "666F"},
                                                           // Nothing of a text that is none.
                                                           {"Zm9v-mFy", ""},
                                                           {"Zm9v=mFy", ""},
                                                           {"Zm\\n9v", ""},
                                                           {{"Zm9v\0", 5}, ""}};
  for (const auto& [text, bytes] : rows) EXPECT_EQ(HexText(DecodeBase64(text)), bytes) << text;
}

TEST_F(ExchangeTest, TheOldDialectsContentIsJoinedUpToItsTwoWords) {
  const std::string text = R"({"data":"x","dataType":"FIFTH","kind":"INFO",)" +
                           std::string(wire::kPermitContent).substr(1);
  EXPECT_EQ(Run(kOld, sector21, Cut("ok" + text, {2, 14, 34})), kCard);
  // This dialect sends the fingerprint area also when there is nothing in it.
  EXPECT_THAT(sockets.Sent().back(), StartsWith(R"({"sbm":"Appid&IDCard&PcDevice","type":"INFO",)"
                                                R"("dataType":"FIRST","data":[-101,-57,29,-31,)"));
  EXPECT_EQ(content[ResultItem::name], Gbk("陈大文"));
  EXPECT_EQ(traces[1], "UploadSector21Data Send Finger");
  EXPECT_EQ(traces[4], Gbk("ReadIDContent Read Sucess！"));
  EXPECT_EQ(Run(kOld, sector21, {R"({"data":"x","id":"0",)", text}), kCard);  // begins anew
  EXPECT_EQ(content[ResultItem::id_number], "810000199001020011");
  EXPECT_EQ(Run(kOld, dn, {text}), kCard);  // instead of a key
  EXPECT_THAT(sockets.Sent().back(), HasSubstr(R"("dataType":"NULL")"));
  EXPECT_EQ(Run(kOld, sector21, {R"({"data":"INFO FIFTH"})"}), "fail 22,;");
  clock.sleptMs = 0;
  EXPECT_EQ(Run(kOld, sector21, {"a", "b", "c", "d", "e"}), "fail 22,;");
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
  EXPECT_EQ(clock.sleptMs, 10U);  // between three attempts
}

}  // namespace
}  // namespace idcardreader
