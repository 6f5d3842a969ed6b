// Every card of the devkit, read and compared with its file through every function that hands out a
// read.

#include <algorithm>
#include <tuple>

#include "host/host_test.h"

namespace hosttest {
namespace {

const std::vector<std::string>& CardNames() {
  static const std::vector<std::string> names = {"gat",
                                                 "gat-no-photo",
                                                 "other-card",
                                                 "resident",
                                                 "resident-fingerprint-late",
                                                 "resident-long-address",
                                                 "resident-long-messages",
                                                 "resident-long-name",
                                                 "resident-no-fingerprint",
                                                 "resident-no-photo",
                                                 "resident-other-nation",
                                                 "resident-other-sex",
                                                 "resident-photo-largest",
                                                 "resident-photo-smallest",
                                                 "resident-photo-too-small",
                                                 "resident-rare-extension",
                                                 "resident-rare-private",
                                                 "resident-short-fingerprint",
                                                 "resident-spaces",
                                                 "sample",
                                                 "yjznew",
                                                 "yjznew-no-photo",
                                                 "yjznew-two-slashes",
                                                 "yjzold",
                                                 "yjzold-no-code",
                                                 "yjzold-no-photo"};
  return names;
}

// The families of functions by which hosts read; what they hand out is one record.
struct Family {
  const char* name;
  bool (*read)(const ShippedLibrary& library);
};

const Family kFamilies[] = {
    {"Cloud", [](const ShippedLibrary& library) { return library.readCardStart(0) == 1; }},
    {"Standard",
     [](const ShippedLibrary& library) {
       return library.SDT_SelectIDCard(1001, nullptr) == IDCARDREADER_SDT_SUCCESS;
     }},
    {"Legacy", [](const ShippedLibrary& library) { return library.Read_Content(0) == 1; }}};

void PrintTo(const Family& family, std::ostream* stream) { *stream << family.name; }

class CardsTest : public HostTest,
                  public testing::WithParamInterface<std::tuple<Family, std::string>> {};

TEST_P(CardsTest, YieldsEveryFieldAndBlock) {
  const auto& [family, name] = GetParam();
  const devkit::Card card = CardOf(name);
  desk.Put(name);
  if (ExpectedToSucceed(card)) {
    ASSERT_TRUE(family.read(*library)) << LastError();
    ExpectRecordOf(card, *library);
  } else {
    EXPECT_FALSE(family.read(*library));
    ExpectNoBlocks(*library);
  }
  for (const devkit::ReceivedMessage& message : service->Received()) {
    EXPECT_TRUE(message.accepted) << message.exchange << ": " << message.objection;
  }
}

INSTANTIATE_TEST_SUITE_P(Devkit, CardsTest,
                         testing::Combine(testing::ValuesIn(kFamilies),
                                          testing::ValuesIn(CardNames())),
                         [](const auto& param) {
                           std::string name = std::string(std::get<0>(param.param).name) + "_" +
                                              std::get<1>(param.param);
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// The list above names the tests and so cannot come from the folder itself.
TEST(CardNamesTest, HoldEveryCardOfTheDevkit) {
  std::vector<std::string> found;
  for (const devkit::Card& card : devkit::ReadCards(SourceFolder() / "devkit" / "cards")) {
    found.push_back(card.label);
  }
  std::vector<std::string> listed = CardNames();
  std::sort(found.begin(), found.end());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(found, listed);
}

class ManyReadsTest : public HostTest {};

TEST_F(ManyReadsTest, ChangingCardsAreNeverMixed) {
  for (int round = 0; round < 3; ++round) {
    for (const std::string& name : CardNames()) {
      if (ExpectedToSucceed(CardOf(name))) ExpectGoodRead(name);
    }
  }
}

// Two cards of one type, one after the other, so that what a field lacks cannot come from the card
// before.
TEST_F(ManyReadsTest, FirstReadLogsInAndLaterOnesSendTheHeartbeat) {
  ExpectGoodRead(kAnyCard);
  ASSERT_FALSE(service->Received().empty());
  EXPECT_EQ(service->Received().front().exchange, "login");
  service->ForgetReceived();
  ExpectGoodRead(kAnyCard);
  ASSERT_FALSE(service->Received().empty());
  EXPECT_EQ(service->Received().front().exchange, "heartbeat");
}

}  // namespace
}  // namespace hosttest
