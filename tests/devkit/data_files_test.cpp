// appid.dat and hostport.dat: lines worked out by hand, and what must not be taken for one.

#include "datafile/data_files.h"

#include "datafile/scrambling.h"
#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

// 10 + 61 = 71, with Q (51) 20; 20 + 3D = 5D, with J (4A) 17; 17 + 62 = 79, with X (58) 21.
TEST(ScramblingTest, FollowsTheRuleWithoutOverflow) {
  EXPECT_EQ(Scramble("a=b", kDataFileKey, 0x10), "10201721");
  EXPECT_EQ(Descramble("10201721", kDataFileKey), "a=b");
}

// F0 + 61 is 51 past 100, and one more: 52, with Q (51) 03.
TEST(ScramblingTest, FollowsTheRuleAcrossTheOverflow) {
  EXPECT_EQ(Scramble("a", kDataFileKey, 0xF0), "F003");
  EXPECT_EQ(Descramble("F003", kDataFileKey), "a");
}

TEST(ScramblingTest, CarriesEveryByteButZeroFromEveryStart) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) all += static_cast<char>(byte);
  for (int start = 0; start < 256; ++start) {
    const std::string scrambled = Scramble(all, kDataFileKey, static_cast<unsigned char>(start));
    ASSERT_EQ(Descramble(scrambled, kDataFileKey), all) << "from " << start;
  }
  EXPECT_THROW(Scramble(std::string(1, '\0'), kDataFileKey, 1), std::invalid_argument);
}

TEST(DataFileTest, IsReadAsItWasWritten) {
  const std::string text = DataFileText(HostPortLines({"127.0.0.1:9999", "second.invalid:1"}));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
  EXPECT_EQ(text.find("127"), std::string::npos);
  const std::vector<DataLine> lines = ParseDataFile(text, "test");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].Value(), "127.0.0.1:9999");
  EXPECT_EQ(lines[1].Value(), "second.invalid:1");
}

TEST(DataFileTest, LineEndsMayBeOfEitherKind) {
  std::string text = DataFileText(AppIdLines("a=b"));
  text.replace(text.find('\n'), 1, "\r\n");
  const std::vector<DataLine> lines = ParseDataFile(text, "test");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].Value(), "a=b");
}

TEST(DataFileTest, WrongContentIsNamedWithItsLine) {
  for (const std::string text : {"no tab\n", "name\tXY\n", "name\t123\n", "name\t\n"}) {
    try {
      ParseDataFile("appid\t10201721\n" + text, "FILE");
      ADD_FAILURE() << text;
    } catch (const FileError& error) {
      EXPECT_EQ(std::string(error.what()).find("FILE: line 2"), 0u) << error.what();
    }
  }
}

TEST(DataFileTest, EndpointsNeedHostAndPort) {
  for (const char* wrong : {"", "host", ":1", "host:", "host:x", "host:0", "host:65536", "a:1:2"}) {
    EXPECT_THROW(HostPortLines({wrong}), std::invalid_argument) << wrong;
  }
}

}  // namespace
}  // namespace devkit
