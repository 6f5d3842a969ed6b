// Card files: those that come with the devkit, and those that people get wrong.

#include "card/card.h"

#include "decode_service/registry.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

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

TEST(CardTest, LongMessagesAreTheLongestThereCanBe) {
  const Card card = CardOf(R"({"type": "iden", "chip": {"seed": 1, "longMessages": true}})");
  const Bytes enciphered = Encipher(kMessageKey, SectorBlock(card, 0x13));
  EXPECT_GE(std::count(enciphered.begin(), enciphered.end(), 0x80), 1032 - 16);
}

TEST(RegistryTest, RefusesTwoCardsWithOneDn) {
  EXPECT_THROW(Registry({Resident(), Resident()}, {}), FileError);
}

}  // namespace
}  // namespace devkit
