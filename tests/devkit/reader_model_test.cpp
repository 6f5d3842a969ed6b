// What the model of the reader answers and refuses.

#include "reader_model/reader_model.h"

#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

class ReaderModelTest : public testing::Test {
 protected:
  ReaderModelTest() { reader.PutCard(card, now); }

  // The next thing that is due; an empty answer when nothing is.
  Bytes Receive() {
    const auto output = reader.Take(now);
    return output && output->kind != ReaderOutput::Kind::io_error ? output->bytes : Bytes();
  }

  Bytes Exchange(Bytes request) {
    request.resize(kReportSize, 0xCC);  // what stands behind the parameters is of no meaning
    EXPECT_TRUE(reader.Request(request, now).ok);
    return Receive();
  }

  Bytes Key(std::uint8_t command, const Bytes& key) const {
    Bytes request = {command};
    request.insert(request.end(), key.begin(), key.end());
    return request;
  }

  static int Status(const Bytes& answer) { return answer.size() < 2 ? -1 : answer[1]; }

  std::shared_ptr<const Card> card = std::make_shared<const Card>(Resident());
  ReaderModel reader;
  Moment now{};
};

TEST_F(ReaderModelTest, TakesTheRightKeysInTheirOrderOnly) {
  EXPECT_EQ(Status(Exchange(Key(0x07, card->inputKey))), 5);
  Exchange({0x06});
  EXPECT_EQ(Status(Exchange(Key(0x08, card->outputKey))), 5);
  EXPECT_EQ(Status(Exchange(Key(0x07, card->outputKey))), 6);
  EXPECT_EQ(Status(Exchange(Key(0x08, card->outputKey))), 5);
  EXPECT_EQ(Status(Exchange(Key(0x07, card->inputKey))), 0);
  EXPECT_EQ(Status(Exchange(Key(0x08, card->inputKey))), 6);
}

TEST_F(ReaderModelTest, GivesAFileOfItsLengthBehindBothKeysOfThisCard) {
  const Bytes request = {0x0B, 0x11, 0x00, 0xD6};
  EXPECT_TRUE(Exchange(request).empty());
  Exchange({0x06});
  Exchange(Key(0x07, card->inputKey));
  EXPECT_TRUE(Exchange(request).empty());
  Exchange(Key(0x08, card->outputKey));
  EXPECT_TRUE(Exchange({0x0B, 0x11, 0x01, 0x00}).empty());
  EXPECT_TRUE(Exchange({0x0B, 0x14, 0x00, 0xD6}).empty());
  EXPECT_EQ(Exchange(request).size(), 60u);
  for (const std::size_t size : {60u, 60u, 34u}) EXPECT_EQ(Receive().size(), size);
  reader.PutCard(std::make_shared<const Card>(ResidentWithoutFingerprint()), now);
  EXPECT_TRUE(Exchange(request).empty());
}

}  // namespace
}  // namespace devkit
