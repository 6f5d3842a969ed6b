#include "reader/serial_line.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/test_clock.h"

namespace idcardreader {
namespace {

// A reader that sends a byte whenever one is about to stop waiting for it.
class DrippingPort : public platform::CPort {
 public:
  explicit DrippingPort(TestClock& clock) : clock(clock) {}
  std::int32_t ReadData(std::uint8_t* buffer, std::uint32_t, std::uint32_t timeoutMs) override {
    if (!asked) return -1;  // the line was emptied
    clock.ticks += timeoutMs > 150 ? 150 : timeoutMs;
    if (timeoutMs <= 150) return -1;
    *buffer = 0;
    return 1;
  }
  std::int32_t WriteData(const std::uint8_t*, std::uint32_t count) override {
    asked = true;
    return static_cast<std::int32_t>(count);
  }

 private:
  TestClock& clock;
  bool asked = false;
};

class SerialLineTest : public testing::Test {
 protected:
  SerialLineTest() { line.Use(std::make_unique<DrippingPort>(clock), 9600); }

  TestClock clock;
  ActivityLog log{"Reader", clock};
  SerialLine line{log, clock};
  const ReaderRequest request{{}, 1};
  Report answer{};
  Block bytes;
  const std::uint32_t begun = clock.ticks;
};

TEST_F(SerialLineTest, AnAnswerThatDripsEndsASecondBehindItsFirstByte) {
  EXPECT_TRUE(line.Exchange(request, answer, 2000, [] { return false; }).Done());
  EXPECT_LE(clock.ticks - begun, 150U + 1000U);
}

TEST_F(SerialLineTest, AFileThatDripsEndsThreeSecondsBehindWhatItsRateNeeds) {
  EXPECT_EQ(line.Stream(request, answer, 960, bytes, [] { return false; }).code,
            ERRORT_ReaderAnswer);
  EXPECT_GE(clock.ticks - begun, 3900U);
  EXPECT_LE(clock.ticks - begun, 4000U);  // a second for 960 bytes of ten bits
}

TEST_F(SerialLineTest, AStopEndsBoth) {
  int asked = 0;
  const AbandonTest soon = [&asked] { return ++asked % 4 == 0; };
  EXPECT_EQ(line.Exchange(request, answer, 2000, soon).kind, ReaderOutcome::Kind::abandoned);
  EXPECT_EQ(line.Stream(request, answer, 960, bytes, soon).kind, ReaderOutcome::Kind::abandoned);
  EXPECT_LE(clock.ticks - begun, 8 * 150U);
}

}  // namespace
}  // namespace idcardreader
