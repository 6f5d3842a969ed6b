// The layout of the text block, in bytes written out by hand.

#include "host/host_test.h"

namespace hosttest {
namespace {

class TextBlockTest : public HostTest {};

TEST_F(TextBlockTest, HoldsEachValueAtItsPlace) {
  // 林示例, 女, 汉, 19900215, 北京市东城区虚构路100号2单元301室, 110101199002150021,
  // 北京市公安局虚构分局, 20200601, 20400601: UTF-16, little-endian.
  const std::string expected =
      // name, 15 characters
      "97673A798B4F"
      "000000000000000000000000000000000000000000000000"
      // sex, nation
      "3200"
      "30003100"
      // date of birth
      "31003900390030003000320031003500"
      // address, 35 characters
      "1753AC4E025E1C4ECE573A535A868467EF8D"
      "310030003000F753320055534351330030003100A45B"
      "000000000000000000000000000000000000000000000000000000000000"
      // identity number
      "310031003000310030003100310039003900300030003200310035003000300032003100"
      // issuing authority, 15 characters
      "1753AC4E025E6C51895B405C5A8684670652405C"
      "00000000000000000000"
      // valid from, valid until
      "32003000320030003000360030003100"
      "32003000340030003000360030003100"
      // reserved
      "000000000000000000000000000000000000000000000000000000000000000000000000";
  ASSERT_EQ(expected.size(), 2u * IDCARDREADER_TEXT_BLOCK_BYTES);

  desk.Put("sample");
  ASSERT_EQ(Read().result, 1) << LastError();
  EXPECT_EQ(devkit::ToHex(FetchBlocks(*library).text), expected);
}

}  // namespace
}  // namespace hosttest
