// Requests on a line that has no marks between them.

#include "serial_reader/serial_frames.h"

#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

using std::chrono::milliseconds;

class SerialFramesTest : public testing::Test {
 protected:
  // The requests that come out of the bytes, as hexadecimal digits with blanks between them.
  std::string Feed(const std::string& hex, milliseconds between = milliseconds(1)) {
    std::string found;
    for (const std::uint8_t byte : FromHex(hex)) {
      now += between;
      if (const auto request = frames.Feed(byte, now)) {
        found += (found.empty() ? "" : " ") + ToHex(*request);
      }
    }
    return found;
  }

  SerialFrames frames;
  Moment now = Moment() + std::chrono::hours(1);
};

TEST_F(SerialFramesTest, LengthsComeFromTheCommands) {
  // 42 is unknown and stands alone.
  const std::string requests =
      "06 070102030405060708 080102030405060708 0B1100D6 0C 0D 30 64 6532 0101 0100 42 06";
  std::string bytes = requests;
  std::erase(bytes, ' ');
  EXPECT_EQ(Feed(bytes), requests);
}

TEST_F(SerialFramesTest, HalfARequestIsForgottenAfterASilenceOnly) {
  EXPECT_EQ(Feed("0701020304"), "");
  now += SerialFrames::kSilence;
  EXPECT_EQ(Feed("06"), "06");
  EXPECT_EQ(Feed("0B1100D6", SerialFrames::kSilence - milliseconds(1)), "0B1100D6");
}

}  // namespace
}  // namespace devkit
