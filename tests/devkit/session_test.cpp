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

TEST_F(SessionTest, AFingerprintIsSentExactlyWhenThereIsOne) {
  AdvanceTo("BB21");
  EXPECT_FALSE(Say(ClientTexts::NoFingerprint(token)).accepted);
  for (const char* step : {"dn2", "BBB2", "BB11", "BB12", "BB13"}) {
    EXPECT_TRUE(Upload(step, BlockOf(step, other)).accepted) << step;
  }
  Session again = session;
  EXPECT_TRUE(Say(ClientTexts::NoFingerprint(token)).accepted);
  EXPECT_FALSE(again.Handle(ClientTexts::Upload("BB21", token, BlockOf("BB21", other))).accepted);
}

class BlockTest : public SessionTest, public testing::WithParamInterface<const char*> {};

TEST_P(BlockTest, AnyOtherIsRefusedAndSpoilsTheRead) {
  AdvanceTo(GetParam());
  const Bytes right = BlockOf(GetParam(), card);
  std::vector<Bytes> wrong(right.size() + 1, right);
  for (std::size_t i = 0; i < right.size(); ++i) {
    wrong[i][i] = static_cast<std::uint8_t>(right[i] ^ 0x01);
  }
  wrong.back().push_back(0);
  // Any card may begin.
  if (std::string(GetParam()) != "dn2") wrong.push_back(BlockOf(GetParam(), other));
  for (std::size_t i = 0; i < wrong.size(); ++i) {
    Session copy = session;
    const Reply reply = copy.Handle(ClientTexts::Upload(GetParam(), token, wrong[i]));
    ASSERT_FALSE(reply.accepted) << "block " << i;
    ASSERT_NE(FieldOf(reply.answer, "code"), "00");
    ASSERT_FALSE(copy.Handle(ClientTexts::Upload("BB21", token, BlockOf("BB21", card))).accepted);
  }
  EXPECT_TRUE(Upload(GetParam(), right).accepted);
}

INSTANTIATE_TEST_SUITE_P(Uploads, BlockTest,
                         testing::Values("dn2", "BBB2", "BB11", "BB12", "BB13", "BB21"));

TEST_F(SessionTest, UploadsMustComeInOrderAndANewDnBeginsANewRead) {
  AdvanceTo("BB12");
  Session copy = session;
  for (const char* step : {"BB13", "BB12"}) {
    EXPECT_FALSE(copy.Handle(ClientTexts::Upload(step, token, BlockOf(step, card))).accepted);
  }
  EXPECT_TRUE(Upload("dn2", DnBlock(other)).accepted);
  EXPECT_FALSE(Upload("BBB2", OutputKeyBlock(card)).accepted);
}

TEST_F(SessionTest, NothingIsAcceptedWithoutAGreetingOrAValidToken) {
  LogIn();
  const std::string dn = ClientTexts::Upload("dn2", token, DnBlock(card));
  Session fresh(registry);
  EXPECT_FALSE(fresh.Handle(dn).accepted);
  EXPECT_TRUE(fresh.Handle(ClientTexts::Heartbeat()).accepted);
  EXPECT_TRUE(fresh.Handle(dn).accepted);
  registry.ExpireAllTokens();
  const Reply reply = Say(dn);
  EXPECT_FALSE(reply.accepted);
  EXPECT_NE(reply.answer.find("\"msg\":\"token\xD2\xD1\xB9\xFD\xC6\xDA\"}"), std::string::npos);
}

}  // namespace
}  // namespace devkit
