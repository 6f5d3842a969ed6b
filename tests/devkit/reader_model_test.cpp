// What the model of the reader answers, refuses and does wrong on request.

#include "reader_model/reader_model.h"

#include "devkit/devkit_test_support.h"

namespace devkit {
namespace {

using std::chrono::milliseconds;

class ReaderModelTest : public testing::Test {
 protected:
  ReaderModelTest() { reader.PutCard(card, now); }

  void Misbehave(const std::string& faults) {
    reader.SetFaults(ScenarioOf(R"({"reader": {"faults": [)" + faults + "]}}").reader);
  }

  void Send(Bytes request) {
    request.resize(kReportSize, 0xCC);  // what stands behind the parameters is of no meaning
    EXPECT_TRUE(reader.Request(request, now).ok);
  }

  // The next thing that is due within the time; an empty answer when nothing is.
  Bytes Receive(milliseconds limit = milliseconds(0)) {
    const auto output = reader.Take(now + limit);
    return output && output->kind != ReaderOutput::Kind::io_error ? output->bytes : Bytes();
  }

  Bytes Exchange(Bytes request) {
    Send(std::move(request));
    return Receive();
  }

  Bytes Key(std::uint8_t command, const Bytes& key) const {
    Bytes request = {command};
    request.insert(request.end(), key.begin(), key.end());
    return request;
  }

  void Unlock() {
    Exchange({0x06});
    Exchange(Key(0x07, card->inputKey));
    Exchange(Key(0x08, card->outputKey));
  }

  // Everything that is due now, joined.
  Bytes Drain() {
    Bytes all;
    while (const auto output = reader.Take(now)) {
      all.insert(all.end(), output->bytes.begin(), output->bytes.end());
    }
    return all;
  }

  static int Status(const Bytes& answer) { return answer.size() < 2 ? -1 : answer[1]; }

  std::shared_ptr<const Card> card = std::make_shared<const Card>(Resident());
  ReaderModel reader;
  Moment now{};
};

TEST_F(ReaderModelTest, RefusesWhatItDoesNotKnow) {
  EXPECT_EQ(ToHex({Exchange({0x42}).data(), 2}), "4206");
  EXPECT_EQ(Status(Exchange({0x01, 0x02})), 6);
}

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
  Send(request);
  for (const std::size_t size : {60u, 60u, 60u, 34u}) EXPECT_EQ(Receive().size(), size);
  reader.PutCard(std::make_shared<const Card>(ResidentWithoutFingerprint()), now);
  EXPECT_TRUE(Exchange(request).empty());
}

TEST_F(ReaderModelTest, LatencyHoldsForEachReport) {
  reader.SetFaults(ScenarioOf(R"({"reader": {"latency": {"report": 2, "dn": 7}}})").reader);
  Send({0x06});
  EXPECT_TRUE(Receive(milliseconds(6)).empty());
  EXPECT_FALSE(Receive(milliseconds(7)).empty());
  now += milliseconds(10);
  Send(Key(0x07, card->inputKey));
  Send(Key(0x08, card->outputKey));
  EXPECT_EQ(Receive(milliseconds(2)).at(0), 0x07);
  EXPECT_TRUE(Receive(milliseconds(3)).empty());
  EXPECT_EQ(Receive(milliseconds(4)).at(0), 0x08);
  now += milliseconds(10);
  Send({0x0B, 0x11, 0x00, 0xD6});
  for (const int due : {2, 4, 6, 8}) {
    EXPECT_TRUE(Receive(milliseconds(due - 1)).empty());
    EXPECT_FALSE(Receive(milliseconds(due)).empty());
  }
}

TEST_F(ReaderModelTest, StaleReportsComeBeforeTheAnswer) {
  Misbehave(R"({"at": "uid", "fault": "stale", "report": "0C00AA", "count": 2})");
  Send({0x0C});
  EXPECT_EQ(ToHex({Receive().data(), 3}), "0C00AA");
  EXPECT_EQ(ToHex({Receive().data(), 3}), "0C00AA");
  EXPECT_NE(ToHex({Receive().data(), 3}), "0C00AA");
}

TEST_F(ReaderModelTest, PlaysFaultsOfFiles) {
  Misbehave(R"({"at": "file-12", "fault": "short", "bytes": 100},
               {"at": "file-13", "fault": "gap", "ms": 150, "after": 120},
               {"at": "file-21", "fault": "corrupt"})");
  Unlock();
  Send({0x0B, 0x12, 0x01, 0x00});
  EXPECT_EQ(Drain().size(), 100u);
  Send({0x0B, 0x13, 0x04, 0x00});
  EXPECT_EQ(Drain().size(), 120u);
  now += milliseconds(150);
  EXPECT_EQ(Drain().size(), 904u);
  Send({0x0B, 0x21, 0x04, 0x00});
  EXPECT_NE(Drain(), card->files.at(0x21));
}

}  // namespace
}  // namespace devkit
