// The conversation with one client: what is accepted, and that nothing else is.

#include "decode_service/session.h"

#include <zlib.h>

#include "decode_service/answer_plan.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

std::string FieldOf(const std::string& text, const std::string& name) {
  const nlohmann::json json = nlohmann::json::parse(text);
  return json.contains(name) ? json[name].get<std::string>() : std::string();
}

Bytes KeyBlock(const std::string& answer) {
  const nlohmann::json json = nlohmann::json::parse(answer);
  Bytes enciphered;
  for (const int number : json["data"]) {
    enciphered.push_back(static_cast<std::uint8_t>(number));
  }
  return Decipher(kMessageKey, enciphered);
}

std::string Inflated(const std::string& base64) {
  static const std::string letters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  Bytes bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char letter : base64.substr(0, base64.find('='))) {
    bits = bits << 6 | static_cast<unsigned>(letters.find(letter));
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<std::uint8_t>(bits >> count));
  }
  std::string text(bytes.size() * 20, '\0');
  uLongf length = static_cast<uLongf>(text.size());
  if (uncompress(reinterpret_cast<Bytef*>(text.data()), &length, bytes.data(),
                 static_cast<uLong>(bytes.size())) != Z_OK) {
    return "not inflatable";
  }
  text.resize(length);
  return text;
}

class SessionTest : public testing::Test {
 protected:
  void Misbehave(const std::string& faults) {
    registry.SetScenario(ScenarioOf(R"({"service": {"faults": [)" + faults + "]}}"));
  }

  Reply Say(const std::string& text) { return session.Handle(text); }
  Reply Upload(const std::string& type, const Bytes& block) {
    return Say(ClientTexts::Upload(type, token, block));
  }
  void LogIn() { token = FieldOf(Say(ClientTexts::Login()).answer, "token"); }

  Bytes BlockOf(const std::string& exchange, const Card& ofCard) const {
    if (exchange == "dn2") return DnBlock(ofCard);
    if (exchange == "BBB2") return OutputKeyBlock(ofCard);
    return SectorBlock(ofCard, FromHex(exchange.substr(2, 2)).front());
  }

  // All uploads before the given one, in order.
  void AdvanceTo(const std::string& exchange) {
    LogIn();
    for (const char* step : kUploads) {
      if (step == exchange) return;
      ASSERT_TRUE(Upload(step, BlockOf(step, card)).accepted) << step;
    }
  }

  static constexpr const char* kUploads[] = {"dn2", "BBB2", "BB11", "BB12", "BB13", "BB21"};

  const Card card = Resident();
  const Card other = ResidentWithoutFingerprint();
  Registry registry{{card, other}, {}};
  Session session{registry};
  std::string token;
};

TEST_F(SessionTest, ReadsACardInTheTokenDialect) {
  LogIn();
  EXPECT_GE(token.size(), 2u);
  const Reply dn = Upload("dn2", DnBlock(card));
  EXPECT_EQ(FieldOf(dn.answer, "code"), "00");
  EXPECT_EQ(FieldOf(dn.answer, "type"), "dn");
  const Bytes inputKey = KeyBlock(dn.answer);
  EXPECT_GE(inputKey.size(), 19u);
  EXPECT_EQ(ToHex({inputKey.data(), 2}), "BBA2");
  EXPECT_EQ(Bytes(inputKey.begin() + 10, inputKey.begin() + 18), card.inputKey);

  const Reply key = Upload("BBB2", OutputKeyBlock(card));
  EXPECT_EQ(FieldOf(key.answer, "type"), "BBB2");
  const Bytes outputKey = KeyBlock(key.answer);
  EXPECT_EQ(ToHex({outputKey.data(), 2}), "BBA3");
  EXPECT_EQ(Bytes(outputKey.begin() + 10, outputKey.begin() + 18), card.outputKey);

  for (const char* sector : {"BB11", "BB12", "BB13"}) {
    const Reply reply = Upload(sector, BlockOf(sector, card));
    EXPECT_TRUE(reply.accepted);
    EXPECT_FALSE(reply.answer.empty());
  }
  const Reply content = Upload("BB21", BlockOf("BB21", card));
  EXPECT_EQ(content.answer.find("data"), 2u);
  EXPECT_NE(content.answer.find("FIFTH"), std::string::npos);
  EXPECT_NE(content.answer.find("INFO"), std::string::npos);
  EXPECT_EQ(content.answer.back(), '\n');
  EXPECT_GE(content.answer.size(), 201u);
  EXPECT_LE(content.answer.size(), 15360u);
  EXPECT_EQ(Inflated(FieldOf(content.answer, "data")), ContentText(card));
}

TEST_F(SessionTest, ReadsACardInTheDeviceCodeDialect) {
  EXPECT_TRUE(Say(ClientTexts::Heartbeat()).accepted);
  const Reply dn = Say(ClientTexts::DeviceCodeUpload("NULL", DnBlock(card)));
  EXPECT_EQ(FieldOf(dn.answer, "dataType"), "FIRST");
  EXPECT_EQ(ToHex({KeyBlock(dn.answer).data(), 2}), "BBA2");
  const Reply key = Say(ClientTexts::DeviceCodeUpload("FIRST", OutputKeyBlock(card)));
  EXPECT_EQ(ToHex({KeyBlock(key.answer).data(), 2}), "BBA3");
  for (const char* sector : {"BB11", "BB12", "BB13"}) {
    EXPECT_TRUE(Say(ClientTexts::DeviceCodeUpload("FIRST", BlockOf(sector, card))).accepted);
  }
  const Reply content = Say(ClientTexts::DeviceCodeUpload("FIRST", BlockOf("BB21", card)));
  EXPECT_EQ(content.answer.find("data"), 2u);
  EXPECT_LT(content.answer.find("FIFTH"), content.answer.find("INFO"));
  EXPECT_EQ(content.answer.find("\"type\":\"iden\""), content.answer.find("\"type\""));
  EXPECT_NE(content.answer.find(ContentText(card)), std::string::npos);
}

TEST_F(SessionTest, ACardWithoutFingerprintMustNotSendOne) {
  LogIn();
  for (const char* step : {"dn2", "BBB2", "BB11", "BB12", "BB13"}) {
    EXPECT_TRUE(Upload(step, BlockOf(step, other)).accepted) << step;
  }
  Session again = session;
  EXPECT_TRUE(Say(ClientTexts::NoFingerprint(token)).accepted);
  EXPECT_FALSE(again.Handle(ClientTexts::Upload("BB21", token, BlockOf("BB21", other))).accepted);
}

TEST_F(SessionTest, AFingerprintMustNotBeLeftOut) {
  AdvanceTo("BB21");
  EXPECT_FALSE(Say(ClientTexts::NoFingerprint(token)).accepted);
}

class BlockTest : public SessionTest, public testing::WithParamInterface<const char*> {};

TEST_P(BlockTest, EveryAlteredByteIsRefusedAndSpoilsTheRead) {
  AdvanceTo(GetParam());
  const Bytes right = BlockOf(GetParam(), card);
  for (std::size_t i = 0; i < right.size(); ++i) {
    Session copy = session;
    Bytes wrong = right;
    wrong[i] = static_cast<std::uint8_t>(wrong[i] ^ 0x01);
    const Reply reply = copy.Handle(ClientTexts::Upload(GetParam(), token, wrong));
    ASSERT_FALSE(reply.accepted) << "byte " << i;
    ASSERT_NE(FieldOf(reply.answer, "code"), "00");
    ASSERT_FALSE(copy.Handle(ClientTexts::Upload("BB21", token, BlockOf("BB21", card))).accepted);
  }
  EXPECT_TRUE(Upload(GetParam(), right).accepted);
}

TEST_P(BlockTest, AnotherLengthIsRefused) {
  AdvanceTo(GetParam());
  Bytes longer = BlockOf(GetParam(), card);
  longer.push_back(0);
  EXPECT_FALSE(Upload(GetParam(), longer).accepted);
}

TEST_P(BlockTest, AnotherCardsBlockIsRefused) {
  AdvanceTo(GetParam());
  const bool first = std::string(GetParam()) == "dn2";  // any card may begin
  EXPECT_EQ(Upload(GetParam(), BlockOf(GetParam(), other)).accepted, first);
}

INSTANTIATE_TEST_SUITE_P(Uploads, BlockTest,
                         testing::Values("dn2", "BBB2", "BB11", "BB12", "BB13", "BB21"));

TEST_F(SessionTest, UploadsMustComeInOrder) {
  AdvanceTo("BB12");
  EXPECT_FALSE(Upload("BB13", BlockOf("BB13", card)).accepted);
  EXPECT_FALSE(Upload("BB12", BlockOf("BB12", card)).accepted);
}

TEST_F(SessionTest, ANewDnBeginsANewRead) {
  AdvanceTo("BB12");
  EXPECT_TRUE(Upload("dn2", DnBlock(other)).accepted);
  EXPECT_FALSE(Upload("BBB2", OutputKeyBlock(card)).accepted);
}

TEST_F(SessionTest, NothingIsAcceptedBeforeTheGreeting) {
  LogIn();
  Session fresh(registry);
  EXPECT_FALSE(fresh.Handle(ClientTexts::Upload("dn2", token, DnBlock(card))).accepted);
  EXPECT_TRUE(fresh.Handle(ClientTexts::Heartbeat()).accepted);
  EXPECT_TRUE(fresh.Handle(ClientTexts::Upload("dn2", token, DnBlock(card))).accepted);
}

TEST_F(SessionTest, AnUnknownTokenHasExpired) {
  LogIn();
  registry.ExpireAllTokens();
  const Reply reply = Upload("dn2", DnBlock(card));
  EXPECT_FALSE(reply.accepted);
  EXPECT_NE(reply.answer.find("\"msg\":\"token\xD2\xD1\xB9\xFD\xC6\xDA\"}"), std::string::npos);
  LogIn();
  EXPECT_TRUE(Upload("dn2", DnBlock(card)).accepted);
}

TEST_F(SessionTest, PlaysTheExpiryOfATokenInEitherEncoding) {
  Misbehave(R"({"at": "dn", "fault": "expired-token", "times": 1},
               {"at": "dn", "fault": "expired-token", "encoding": "utf8", "times": 1})");
  LogIn();
  EXPECT_NE(Upload("dn2", DnBlock(card)).answer.find("token\xD2\xD1\xB9\xFD\xC6\xDA\""),
            std::string::npos);
  EXPECT_FALSE(registry.KnowsToken(token));
  LogIn();
  EXPECT_NE(Upload("dn2", DnBlock(card)).answer.find("token已过期\""), std::string::npos);
}

TEST_F(SessionTest, PlaysFaultsOfKeys) {
  Misbehave(R"({"at": "dn", "fault": "short-key", "times": 1},
               {"at": "dn", "fault": "wrong-marker", "times": 1},
               {"at": "dn", "fault": "refuse", "code": "77", "msg": "no", "times": 1},
               {"at": "dn", "fault": "no-data", "times": 1})");
  LogIn();
  EXPECT_EQ(KeyBlock(Upload("dn2", DnBlock(card)).answer).size(), 18u);
  EXPECT_EQ(KeyBlock(Upload("dn2", DnBlock(card)).answer).at(1), 0xA3);
  EXPECT_EQ(Upload("dn2", DnBlock(card)).answer, R"({"code":"77","msg":"no"})");
  EXPECT_EQ(Upload("dn2", DnBlock(card)).answer, R"({"code":"00","type":"dn"})");
}

TEST_F(SessionTest, PlaysFaultsOfContent) {
  for (const char* kind : {"corrupt", "bad-zlib"}) {
    Misbehave(R"({"at": "content", "fault": ")" + std::string(kind) + "\"}");
    AdvanceTo("BB21");
    const Reply reply = Upload("BB21", BlockOf("BB21", card));
    EXPECT_EQ(Inflated(FieldOf(reply.answer, "data")), "not inflatable") << kind;
  }
  Misbehave(R"({"at": "content", "fault": "empty"})");
  AdvanceTo("BB21");
  EXPECT_EQ(Inflated(FieldOf(Upload("BB21", BlockOf("BB21", card)).answer, "data")), "");
  Misbehave(R"({"at": "content", "fault": "no-data"})");
  AdvanceTo("BB21");
  const Reply without = Upload("BB21", BlockOf("BB21", card));
  EXPECT_EQ(without.answer.find("\"data\""), std::string::npos);
  EXPECT_GE(without.answer.size(), 201u);
}

std::vector<std::string> Sent(const Reply& reply) {
  std::vector<std::string> texts;
  for (const LineStep& step : PlanAnswer(reply)) texts.push_back(step.bytes);
  return texts;
}

TEST_F(SessionTest, ASilentContentIsAcknowledgedAndASilentSectorIsNot) {
  Misbehave(R"({"at": "content", "fault": "drop", "times": 1},
               {"at": "sector-21", "fault": "drop", "skip": 1})");
  AdvanceTo("BB21");
  const std::vector<std::string> content = Sent(Upload("BB21", BlockOf("BB21", card)));
  ASSERT_EQ(content.size(), 1u);
  EXPECT_LT(content[0].size(), 201u);
  AdvanceTo("BB21");
  EXPECT_TRUE(Sent(Upload("BB21", BlockOf("BB21", card))).empty());
}

Reply Spoiled(const std::string& answer, const std::string& fault) {
  Reply reply;
  reply.answer = answer;
  reply.latency = std::chrono::milliseconds(4);
  reply.fault = ScenarioOf(R"({"service": {"faults": [{"at": "login", )" + fault + "}]}}")
                    .service.faults.front();
  return reply;
}

TEST(AnswerPlanTest, PlaysFaultsOfTheLine) {
  const std::string answer = R"({"code":"00"})";
  EXPECT_EQ(Sent(Spoiled(answer, R"("fault": "split", "parts": 3)")),
            (std::vector<std::string>{"{\"cod", "e\":\"0", "0\"}"}));
  EXPECT_EQ(Sent(Spoiled(answer, R"("fault": "half")")), std::vector<std::string>{"{\"code"});
  EXPECT_EQ(Sent(Spoiled(answer, R"("fault": "slow", "bytes": 2)")).size(), 7u);
  EXPECT_TRUE(Sent(Spoiled(answer, R"("fault": "drop")")).empty());
  EXPECT_EQ(PlanAnswer(Spoiled(answer, R"("fault": "close")")).at(0).then, LineStep::Then::close);
  EXPECT_EQ(PlanAnswer(Spoiled(answer, R"("fault": "reset")")).at(0).then, LineStep::Then::reset);
  EXPECT_EQ(PlanAnswer(Spoiled(answer, R"("fault": "delay", "ms": 30)")).at(0).pause,
            std::chrono::milliseconds(34));
}

TEST(AnswerPlanTest, OversizedAnswersKeepTheirForm) {
  const std::string text =
      Sent(Spoiled("{\"code\":\"00\"}\n", R"("fault": "oversized", "bytes": 20000)")).at(0);
  EXPECT_EQ(text.size(), 20000u);
  EXPECT_EQ(text.back(), '\n');
  EXPECT_EQ(FieldOf(text, "code"), "00");
}

// A client ends itself on purpose at an array with long elements.
TEST(AnswerPlanTest, GarbageHoldsNoArrayThatAClientReads) {
  const std::string text = Sent(Spoiled("{}", R"("fault": "garbage", "bytes": 65536)")).at(0);
  EXPECT_EQ(text.size(), 65536u);
  EXPECT_EQ(text.find("data"), std::string::npos);
  EXPECT_EQ(text.find("image"), std::string::npos);
}

TEST(ContentTest, NothingInflatesBeyondTwentyTimesItsLength) {
  EXPECT_GE(Deflate(std::string(40000, 'a')).size() * 20, 40000u);
}

TEST(ContentTest, BytesAreWrittenAsSignedNumbers) {
  EXPECT_EQ(ByteArrayText(FromHex("FF807F00")), "[-1,-128,127,0]");
}

// The examples of the encoding's own standard.
TEST(ContentTest, Base64FollowsTheStandard) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : rows) {
    const std::string text = plain;
    EXPECT_EQ(Base64(Bytes(text.begin(), text.end())), encoded);
  }
}

}  // namespace
}  // namespace devkit
