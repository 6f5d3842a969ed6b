// Every card of the devkit, read and compared with its file through every function that hands out a
// read.

#include "host/host_test.h"

namespace hosttest {
namespace {

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

class CardsTest : public HostTest, public testing::WithParamInterface<Family> {};

// One behind the other, so that what a card lacks cannot come from the one before.
TEST_P(CardsTest, YieldEveryFieldAndBlock) {
  for (const devkit::Card& card : Cards()) {
    SCOPED_TRACE(card.label);
    desk.Put(card.label);
    EXPECT_EQ(GetParam().read(*library), ExpectedToSucceed(card)) << LastError();
    if (ExpectedToSucceed(card)) {
      ExpectRecordOf(card, *library);
    } else {
      ExpectNoBlocks(*library);
    }
  }
  for (const devkit::ReceivedMessage& message : service->Received()) {
    EXPECT_TRUE(message.accepted) << message.exchange << ": " << message.objection;
  }
}

INSTANTIATE_TEST_SUITE_P(Devkit, CardsTest, testing::ValuesIn(kFamilies),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace hosttest
