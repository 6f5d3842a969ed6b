// The conversation with one client: what is accepted, and that nothing else is.

#include "decode_service/session.h"

#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

std::string FieldOf(const std::string& text, const std::string& name) {
  const nlohmann::json json = nlohmann::json::parse(text);
  return json.contains(name) ? json[name].get<std::string>() : std::string();
}

class SessionTest : public testing::Test {
 protected:
  void LogIn() { token = FieldOf(session.Handle(ClientTexts::Login()).answer, "token"); }

  Bytes BlockOf(const std::string& exchange, const Card& ofCard) const {
    if (exchange == "dn2") return DnBlock(ofCard);
    if (exchange == "BBB2") return OutputKeyBlock(ofCard);
    return SectorBlock(ofCard, FromHex(exchange.substr(2, 2)).front());
  }

  bool Accepts(Session& asked, const std::string& type, const Bytes& block) const {
    return asked.Handle(ClientTexts::Upload(type, token, block)).accepted;
  }
  // All uploads before the given one, in order.
  void AdvanceTo(const std::string& exchange, const Card& ofCard) {
    LogIn();
    for (const char* step : kUploads) {
      if (step == exchange) return;
      ASSERT_TRUE(Accepts(session, step, BlockOf(step, ofCard))) << step;
    }
  }

  static constexpr const char* kUploads[] = {"dn2", "BBB2", "BB11", "BB12", "BB13", "BB21"};

  const Card card = Resident();
  const Card other = Resident(R"("chip": {"seed": 6})");
  Registry registry{{card, other}, {}};
  Session session{registry};
  std::string token;
};

TEST_F(SessionTest, AFingerprintIsSentExactlyWhenThereIsOne) {
  AdvanceTo("BB21", card);
  const std::string none = R"({"type":"BB21_2","token":")" + token + R"("})";
  EXPECT_FALSE(session.Handle(none).accepted);
  AdvanceTo("BB21", other);
  Session again = session;
  EXPECT_TRUE(session.Handle(none).accepted);
  EXPECT_FALSE(Accepts(again, "BB21", BlockOf("BB21", other)));
}

TEST_F(SessionTest, AnyOtherBlockIsRefusedAndSpoilsTheRead) {
  for (const std::string step : kUploads) {
    SCOPED_TRACE(step);
    AdvanceTo(step, card);
    const Bytes right = BlockOf(step, card);
    std::vector<Bytes> wrong(right.size() + 1, right);
    for (std::size_t i = 0; i < right.size(); ++i) wrong[i][i] ^= 0x01;
    wrong.back().push_back(0);
    if (step != "dn2") wrong.push_back(BlockOf(step, other));  // any card may begin
    for (const Bytes& block : wrong) {
      Session copy = session;
      const Reply reply = copy.Handle(ClientTexts::Upload(step, token, block));
      ASSERT_FALSE(reply.accepted);
      ASSERT_NE(FieldOf(reply.answer, "code"), "00");
      ASSERT_EQ(Accepts(copy, step, right), step == "dn2");
    }
    EXPECT_TRUE(Accepts(session, step, right));
  }
}

TEST_F(SessionTest, UploadsMustComeInOrderAndANewDnBeginsANewRead) {
  AdvanceTo("BB12", card);
  Session copy = session;
  for (const char* step : {"BB13", "BB12"}) EXPECT_FALSE(Accepts(copy, step, BlockOf(step, card)));
  EXPECT_TRUE(Accepts(session, "dn2", DnBlock(other)));
  EXPECT_FALSE(Accepts(session, "BBB2", OutputKeyBlock(card)));
}

TEST_F(SessionTest, NothingIsAcceptedWithoutAGreetingOrAValidToken) {
  LogIn();
  const std::string dn = ClientTexts::Upload("dn2", token, DnBlock(card));
  Session fresh(registry);
  EXPECT_FALSE(fresh.Handle(dn).accepted);
  EXPECT_TRUE(fresh.Handle(ClientTexts::Heartbeat()).accepted);
  EXPECT_TRUE(fresh.Handle(dn).accepted);
  registry.ExpireAllTokens();
  const Reply reply = session.Handle(dn);
  EXPECT_FALSE(reply.accepted);
  EXPECT_NE(reply.answer.find("\"msg\":\"token\xD2\xD1\xB9\xFD\xC6\xDA\"}"), std::string::npos);
}

}  // namespace
}  // namespace devkit
