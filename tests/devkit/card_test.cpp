// Card files: those that come with the devkit, and those that people get wrong.

#include "card/card.h"

#include <set>

#include "decode_service/registry.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

TEST(CardSetTest, CanBeServedTogetherAndCoversEveryKind) {
  const std::vector<Card> cards = ReadCards(SourceFolder() / "devkit" / "cards");
  EXPECT_NO_THROW(Registry(cards, {}));
  std::set<std::pair<CardType, bool>> kinds;
  for (const Card& card : cards) kinds.insert({card.type, card.image.has_value()});
  for (const CardType type : {CardType::iden, CardType::gat, CardType::yjzold, CardType::yjznew}) {
    EXPECT_TRUE(kinds.contains({type, true})) << TypeWord(type);
    EXPECT_TRUE(kinds.contains({type, false})) << TypeWord(type);
  }
}

// Nobody's number: the last digit of each is wrong.
TEST(CardSetTest, HoldsNoIdentityNumberThatCouldBeSomebodys) {
  constexpr int kWeights[] = {7, 9, 10, 5, 8, 4, 2, 1, 6, 3, 7, 9, 10, 5, 8, 4, 2};
  for (const Card& card : ReadCards(SourceFolder() / "devkit" / "cards")) {
    const std::string id = card.Field("id");
    if (id.size() != 18) continue;
    int sum = 0;
    for (std::size_t i = 0; i < 17; ++i) sum += (id[i] - '0') * kWeights[i];
    EXPECT_NE(id.back(), "10X98765432"[sum % 11]) << card.label;
  }
}

TEST(CardTest, ChipContentsComeFromTheSeed) {
  const Card one = Resident();
  const Card same = Resident();
  const Card other = ResidentWithoutFingerprint();
  EXPECT_EQ(one.dn, same.dn);
  EXPECT_EQ(one.files, same.files);
  EXPECT_NE(one.dn, other.dn);
  EXPECT_NE(one.inputKey, one.outputKey);
  for (const CardFile& file : kCardFiles) EXPECT_EQ(one.files.at(file.id).size(), file.length);
  EXPECT_TRUE(HasFingerprint(one));
  EXPECT_FALSE(HasFingerprint(other));
}

TEST(CardTest, ChipContentsCanBeGiven) {
  const Card card = CardOf(R"({"type": "iden", "chip": {"seed": 1, "uid": "0102030405060708",
                               "inputKey": "1112131415161718"}})");
  EXPECT_EQ(ToHex(card.uid), "0102030405060708");
  EXPECT_EQ(ToHex(card.inputKey), "1112131415161718");
}

TEST(CardTest, FingerprintMayBeginWithZeros) {
  const Card card = CardOf(R"({"type": "iden", "chip": {"seed": 1},
      "fingerprint": {"bytes": 512, "leadingZeros": 2}})");
  const Bytes& file = card.files.at(0x21);
  EXPECT_EQ(file[0], 0);
  EXPECT_EQ(file[1], 0);
  EXPECT_NE(file[2], 0);
  EXPECT_TRUE(HasFingerprint(card));
  EXPECT_EQ(file[512], 0);
}

TEST(CardTest, LongMessagesAreTheLongestThereCanBe) {
  const Card card = CardOf(R"({"type": "iden", "chip": {"seed": 1, "longMessages": true}})");
  const Bytes enciphered = Encipher(kMessageKey, SectorBlock(card, 0x13));
  EXPECT_GE(std::count(enciphered.begin(), enciphered.end(), 0x80), 1032 - 16);
}

struct WrongCard {
  const char* json;
  const char* complaint;
};

class WrongCardTest : public testing::TestWithParam<WrongCard> {};

TEST_P(WrongCardTest, IsRefusedWithAReason) {
  try {
    CardOf(GetParam().json);
    ADD_FAILURE() << GetParam().json;
  } catch (const FileError& error) {
    EXPECT_NE(std::string(error.what()).find(GetParam().complaint), std::string::npos)
        << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongCardTest,
    testing::Values(
        WrongCard{R"({"chip": {"seed": 1}})", "(allowed: iden, gat, yjzold, yjznew, type-a)"},
        WrongCard{R"({"type": "iden"})", "\"chip\" is missing"},
        WrongCard{R"({"type": "gat", "fields": {"nation": "x"}, "chip": {"seed": 1}})",
                  "has no \"nation\" (allowed: name,"},
        WrongCard{R"({"type": "iden", "fields": {"name": "a}"}, "chip": {"seed": 1}})", "braces"},
        WrongCard{R"({"type": "iden", "photo": {"elements": 2331}, "chip": {"seed": 1}})",
                  "from 0 to 2330"},
        WrongCard{R"({"type": "iden", "fingerprint": {"bytes": 600}, "chip": {"seed": 1}})",
                  "512 or 1024"},
        WrongCard{R"({"type": "iden", "chip": {"seed": 1, "dn": "00"}})", "wrong length"},
        WrongCard{R"({"type": "iden", "chip": {"seed": 1}, "faults": {"reader": 5}})",
                  "card: faults: reader: an object is wanted"}));

TEST(RegistryTest, RefusesTwoCardsWithOneDn) {
  EXPECT_THROW(Registry({Resident(), Resident()}, {}), FileError);
}

}  // namespace
}  // namespace devkit
