#include "service/decode_transaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    filed += "key " + std::to_string(item) + " " + HexText(key) + ";";
  }
  void FileContent(const std::vector<std::pair<std::int32_t, std::string>>& entries) override {
    content = {entries.begin(), entries.end()};
    filed += "content;";
  }
  void FileDone() override { filed += "done;"; }
  void ReportFailure(std::int32_t code, std::string_view detail, std::string_view answer) override {
    filed += "fail " + std::to_string(code) + "," + std::string(detail) + ";";
    refused = answer;
  }

  std::string filed;
  std::string refused;
  std::vector<std::string> traces;
  std::map<std::int32_t, std::string> content;
};

using Exchange = void (*)(DecodeTransaction&);

void Heartbeat(DecodeTransaction& transaction) { transaction.InitDecodeChannel(); }
void Dn(DecodeTransaction& transaction) { transaction.UploadDN(Block(64, 1)); }
void OutputKey(DecodeTransaction& transaction) { transaction.UploadOutputKey(Block(64, 1)); }
void Sector11(DecodeTransaction& transaction) { transaction.UploadSector11Data({}); }
void Sector21(DecodeTransaction& transaction) { transaction.UploadSector21Data({}); }

constexpr Dialect kToken = Dialect::token;
constexpr Dialect kOld = Dialect::device_code;

class DecodeTransactionTest : public testing::Test {
 protected:
  DecodeTransactionTest() { transport.CreateSocket(); }

  // What one exchange files.
  std::string Run(Dialect dialect, Exchange exchange,
                  const std::vector<std::string>& answers = {}) {
    for (const std::string& answer : answers) sockets.Answer(answer);
    sink = {};
    DecodeTransaction transaction(transport, sink, clock, dialect, identity, login);
    exchange(transaction);
    return sink.filed;
  }

  ScriptedSockets sockets;
  SocketTransport transport{sockets};
  RecordingSink sink;
  TestClock clock;
  ServiceIdentity identity;
  LoginState login{true, "tk-1"};
};

TEST_F(DecodeTransactionTest, AnAnswerIsFiledOrRefused) {
  EXPECT_EQ(Run(kToken, Heartbeat, {"anything at all"}), "");
  EXPECT_EQ(Run(kToken, Sector11, {R"({"code":"07"})"}) + Run(kOld, Sector11, {"x"}), "");
  EXPECT_EQ(Run(kToken, Sector11, {""}), "fail 14,;");  // the end of the connection
  EXPECT_EQ(Run(kOld, OutputKey, {wire::FirstAnswer(wire::kOutputKeyData)}),
            "key 7 A1A2A3A4A5A6A7A8;");
  EXPECT_EQ(Run(kToken, Dn, {wire::OutputKeyAnswer()}), "fail 44,;");
  EXPECT_EQ(sink.refused, wire::OutputKeyAnswer());  // for the error log
  EXPECT_EQ(Run(kToken, Dn, {wire::InputKeyAnswer()}), "key 6 1122334455667788;");
  EXPECT_THAT(sink.traces,
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

TEST_F(DecodeTransactionTest, TheContentIsJoinedUpToItsLineEnd) {
  const std::string answer = wire::PermitAnswer();
  EXPECT_EQ(Run(kToken, Sector21, {answer, "more"}), kCard);
  EXPECT_EQ(sink.content[32], "810000199001020011");
  EXPECT_EQ(sink.content[35], Gbk("陈大文"));
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
  Run(kToken, Heartbeat);
  EXPECT_EQ(Run(kToken, Sector21, {wire::kAcknowledgement, answer}), kCard);
  EXPECT_EQ(Run(kToken, Sector21, Cut(answer, {201})), kCard);
  EXPECT_EQ(Run(kToken, Sector21, Cut(answer, {210, 220, 230})), kCard);
  // 200 bytes count as an acknowledgement and are gone.
  EXPECT_EQ(Run(kToken, Sector21, Cut(answer, {200})), "fail 22,;");
  // Without a line end the joining stops after three more receives, with what is there.
  EXPECT_EQ(Run(kToken, Sector21, Cut(answer, {210, 220, 230, 240})), "fail 22,;");
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
  Run(kToken, Heartbeat);
  EXPECT_EQ(Run(kToken, Sector21, Cut(answer.substr(0, answer.size() - 1), {210, 220, 230})),
            kCard);
  EXPECT_EQ(Run(kToken, Sector21, {answer.substr(0, answer.size() - 1)}), "fail 22,;");
  EXPECT_EQ(Run(kToken, Sector21, {wire::kAcknowledgement}), "fail 22,;");
}

TEST_F(DecodeTransactionTest, AContentThatIsNoneIsNotParsed) {
  const std::string filler(200, 'x');
  EXPECT_EQ(Run(kToken, Sector21, {R"({"date":")" + filler + "\"}\n"}), "fail 22,;");
  testing::internal::CaptureStdout();
  EXPECT_EQ(Run(kToken, Sector21, {wire::PermitAnswer()}), kCard);
  EXPECT_EQ(Run(kToken, Sector21, {R"({"data":")" + filler + "\"}\n"}), "fail 55,;");
  EXPECT_EQ(Run(kToken, Sector21, {R"({"data":"","x":")" + filler + "\"}\n"}), "fail 55,;");
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_THAT(printed, StartsWith("ret=1,out_len=227"));  // printed whatever the result is
  EXPECT_THAT(printed, testing::HasSubstr("ret=-3,out_len=0"));
  const LoggedLines errors;
  EXPECT_EQ(Run(kOld, Sector21, {R"({"data":"FIFTH INFO","type":"passport"})"}), "done;");
  EXPECT_THAT(errors.Get(), ElementsAre("parse type fail"));
}

TEST_F(DecodeTransactionTest, TheOldDialectsContentIsJoinedUpToItsTwoWords) {
  const std::string content = R"({"data":"x","dataType":"FIFTH","kind":"INFO",)" +
                              std::string(wire::kPermitContent).substr(1);
  EXPECT_EQ(Run(kOld, Sector21, {content}), kCard);
  // This dialect sends the fingerprint area also when there is nothing in it.
  EXPECT_THAT(sockets.Sent().back(), StartsWith(R"({"sbm":"Appid&IDCard&PcDevice","type":"INFO",)"
                                                R"("dataType":"FIRST","data":[-101,-57,29,-31,)"));
  EXPECT_EQ(sink.content[35], Gbk("陈大文"));
  EXPECT_EQ(Run(kOld, Sector21, {"ok", content}), kCard);
  EXPECT_EQ(Run(kOld, Sector21, Cut(content, {12})), kCard);
  EXPECT_EQ(Run(kOld, Sector21, Cut("ok" + content, {2, 14, 34})), kCard);
  EXPECT_EQ(Run(kOld, Sector21, {content.substr(0, 30), content}), kCard);  // begins anew
  EXPECT_EQ(Run(kOld, Dn, {content}) + Run(kOld, OutputKey, {content}),     // instead of a key
            kCard + std::string(kCard));
  clock.sleptMs = 0;
  EXPECT_EQ(Run(kOld, Sector21, {"ok"}), "fail 22,;");
  EXPECT_EQ(clock.sleptMs, 10U);  // between three attempts
  EXPECT_EQ(Run(kOld, Sector21, {"a", "b", "c", "d", "e"}), "fail 22,;");
  EXPECT_EQ(sockets.AnswersLeft(), 1U);
}

}  // namespace
}  // namespace idcardreader
