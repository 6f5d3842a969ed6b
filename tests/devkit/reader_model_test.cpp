// What the model of the reader answers and refuses.

#include "reader_model/reader_model.h"

#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

TEST(ReaderModelTest, TakesTheRightKeysOfThisCardInTheirOrderAndThenGivesItsFiles) {
  const auto card = std::make_shared<const Card>(Resident());
  ReaderModel reader;
  reader.PutCard(card, {});
  // The status that the request is answered with, -1 for silence.
  const auto status = [&reader](Bytes request, const Bytes& key = {}) {
    request.insert(request.end(), key.begin(), key.end());
    request.resize(kReportSize, 0xCC);  // what stands behind the parameters is of no meaning
    EXPECT_TRUE(reader.Request(request, {}).ok);
    const auto output = reader.Take({});
    return output ? output->bytes[1] : -1;
  };
  const Bytes file = {0x0B, 0x11, 0x00, 0xD6};
  EXPECT_EQ(status({0x07}, card->inputKey), 5);
  status({0x06});
  EXPECT_EQ(status({0x08}, card->outputKey), 5);
  EXPECT_EQ(status({0x07}, card->outputKey), 6);
  EXPECT_EQ(status({0x08}, card->outputKey), 5);
  EXPECT_EQ(status({0x07}, card->inputKey), 0);
  EXPECT_EQ(status({0x08}, card->inputKey), 6);
  EXPECT_EQ(status(file), -1);
  EXPECT_EQ(status({0x08}, card->outputKey), 0);
  EXPECT_EQ(status({0x0B, 0x11, 0x01, 0x00}), -1);
  EXPECT_EQ(status(file), card->files.at(0x11)[1]);
  for (const std::size_t size : {60U, 60U, 34U}) EXPECT_EQ(reader.Take({})->bytes.size(), size);
  reader.PutCard(card, {});
  EXPECT_EQ(status(file), -1);
}

}  // namespace
}  // namespace devkit
