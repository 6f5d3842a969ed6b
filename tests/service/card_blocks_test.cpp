#include "service/card_blocks.h"

#include <gtest/gtest.h>

#include "service/service_messages.h"

namespace idcardreader {
namespace {

TEST(CardBlocks, AFileHasItsLengthWhateverWasRead) {
  const Block missing = SectorBlock(kFile11, {});
  const Block whole = SectorBlock(kFile11, Block(214, 0xFF));
  EXPECT_EQ(missing.size(), whole.size());
  EXPECT_EQ(SectorBlock(kFile11, Block(2000, 0xFF)), whole);
  EXPECT_EQ(SectorBlock(kFile11, Block(2000, 0)), missing);
}

TEST(CardBlocks, AFingerprintShowsInItsFirstThreeBytes) {
  for (const std::size_t position : {0U, 1U, 2U, 3U, 1023U}) {
    Block area(1024, 0);
    area[position] = 0x80;
    EXPECT_EQ(HasFingerprint(area), position < 3) << position;
  }
  EXPECT_FALSE(HasFingerprint(Block{}));
}

// The identity that no data file has given.
TEST(ServiceMessages, LoginHasDefaults) {
  EXPECT_EQ(LoginMessage({}).find(R"({"appId":"app001","hardwareNumber":"IDCard","deviceNumber":)"
                                  R"("PcDevice","hardwareVersion":"verson",)"),
            0U);
  EXPECT_EQ(HeartbeatMessage({}), R"({"sbm":"Appid&IDCard&PcDevice","type":"HEARTBEAT"})");
}

}  // namespace
}  // namespace idcardreader
