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

TEST_F(ReaderModelTest, YieldsTheCardStepByStep) {
  const Bytes dn = Exchange({0x06});
  ASSERT_EQ(dn.size(), 64u);
  EXPECT_EQ(dn[0], 0x06);
  EXPECT_EQ(Bytes(dn.begin() + 2, dn.begin() + 34), card->dn);
  EXPECT_EQ(std::count(dn.begin() + 34, dn.end(), 0), 0);

  const Bytes keyAnswer = Exchange(Key(0x07, card->inputKey));
  EXPECT_EQ(Status(keyAnswer), 0);
  EXPECT_EQ(Bytes(keyAnswer.begin() + 2, keyAnswer.end()), card->keyAnswer);
  EXPECT_EQ(Status(Exchange(Key(0x08, card->outputKey))), 0);

  for (const CardFile& file : kCardFiles) {
    Send({0x0B, file.id, static_cast<std::uint8_t>(file.length >> 8),
          static_cast<std::uint8_t>(file.length)});
    EXPECT_EQ(Drain(), card->files.at(file.id));
  }
}

TEST_F(ReaderModelTest, FilesComeInPiecesOfSixtyBytes) {
  Unlock();
  Send({0x0B, 0x11, 0x00, 0xD6});
  std::vector<std::size_t> sizes;
  while (const auto output = reader.Take(now)) {
    EXPECT_EQ(output->kind, ReaderOutput::Kind::file_data);
    sizes.push_back(output->bytes.size());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{60, 60, 60, 34}));
}

TEST_F(ReaderModelTest, RefusesWrongKeys) {
  Exchange({0x06});
  EXPECT_EQ(Status(Exchange(Key(0x07, card->outputKey))), 6);
  EXPECT_EQ(Status(Exchange(Key(0x08, card->outputKey))), 5);
  EXPECT_EQ(Status(Exchange(Key(0x07, card->inputKey))), 0);
  EXPECT_EQ(Status(Exchange(Key(0x08, card->inputKey))), 6);
}

TEST_F(ReaderModelTest, RefusesKeysOutOfOrder) {
  EXPECT_EQ(Status(Exchange(Key(0x07, card->inputKey))), 5);
  Exchange({0x06});
  EXPECT_EQ(Status(Exchange(Key(0x08, card->outputKey))), 5);
}

TEST_F(ReaderModelTest, GivesNoFileBeforeBothKeys) {
  const Bytes request = {0x0B, 0x11, 0x00, 0xD6};
  EXPECT_TRUE(Exchange(request).empty());
  Exchange({0x06});
  Exchange(Key(0x07, card->inputKey));
  EXPECT_TRUE(Exchange(request).empty());
  Exchange(Key(0x08, card->outputKey));
  EXPECT_FALSE(Exchange(request).empty());
}

TEST_F(ReaderModelTest, GivesNoFileOfAnotherLengthOrName) {
  Unlock();
  EXPECT_TRUE(Exchange({0x0B, 0x11, 0x01, 0x00}).empty());
  EXPECT_TRUE(Exchange({0x0B, 0x14, 0x00, 0xD6}).empty());
}

TEST_F(ReaderModelTest, AnotherCardForgetsTheKeys) {
  Unlock();
  reader.PutCard(std::make_shared<const Card>(ResidentWithoutFingerprint()), now);
  EXPECT_TRUE(Exchange({0x0B, 0x11, 0x00, 0xD6}).empty());
}

TEST_F(ReaderModelTest, TellsThatThereIsNoCard) {
  reader.PutCard(nullptr, now);
  for (const std::uint8_t command : Bytes{0x06, 0x07, 0x08, 0x0C, 0x0D}) {
    EXPECT_EQ(Status(Exchange({command, 0, 0, 0, 0, 0, 0, 0, 0})), 3) << int{command};
  }
}

TEST_F(ReaderModelTest, RefusesWhatItDoesNotKnow) {
  const Bytes answer = Exchange({0x42});
  EXPECT_EQ(answer[0], 0x42);
  EXPECT_EQ(Status(answer), 6);
  EXPECT_EQ(Status(Exchange({0x01, 0x02})), 6);
}

TEST_F(ReaderModelTest, TellsCardNumbers) {
  const Bytes uid = Exchange({0x0C});
  EXPECT_EQ(Bytes(uid.begin() + 2, uid.begin() + 10), card->uid);
  EXPECT_EQ(Status(Exchange({0x0D})), 3);

  const Card other = CardOf(R"({"type": "type-a", "chip": {"seed": 9, "uid": "A1B2C3D4"}})");
  reader.PutCard(std::make_shared<const Card>(other), now);
  const Bytes answer = Exchange({0x0D});
  EXPECT_EQ(ToHex({answer.data(), 8}), "0D000404A1B2C3D4");
  EXPECT_EQ(Status(Exchange({0x0C})), 3);
  EXPECT_EQ(Status(Exchange({0x06})), 3);
}

TEST_F(ReaderModelTest, TellsAboutItself) {
  reader.SetIdentity({FromHex("010203040506"), FromHex("0A0B")});
  EXPECT_EQ(ToHex({Exchange({0x30}).data(), 8}), "3000010203040506");
  EXPECT_EQ(ToHex({Exchange({0x64}).data(), 4}), "64000A0B");
}

TEST_F(ReaderModelTest, ReportsACardWhileTheSearchIsOn) {
  reader.PutCard(nullptr, now);
  EXPECT_EQ(ToHex({Exchange({0x01, 0x01}).data(), 2}), "0100");
  EXPECT_TRUE(Receive().empty());
  reader.PutCard(card, now);
  const Bytes report = Receive();
  ASSERT_EQ(report.size(), 64u);
  EXPECT_EQ(ToHex({report.data(), 3}), "011008");
  EXPECT_EQ(Bytes(report.begin() + 3, report.begin() + 11), card->uid);

  EXPECT_EQ(ToHex({Exchange({0x01, 0x00}).data(), 2}), "0100");
  reader.PutCard(card, now);
  EXPECT_TRUE(Receive().empty());
}

TEST_F(ReaderModelTest, ReportsACardThatLiesThereAfterItsAnswer) {
  EXPECT_EQ(ToHex({Exchange({0x01, 0x01}).data(), 2}), "0100");
  EXPECT_EQ(ToHex({Receive().data(), 3}), "011008");
  Exchange({0x01, 0x01});
  EXPECT_TRUE(Receive().empty());
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

TEST_F(ReaderModelTest, PlaysFaultsOfAnswers) {
  Misbehave(R"({"at": "uid", "fault": "drop", "times": 1},
               {"at": "uid", "fault": "wrong-echo", "count": 2, "times": 1},
               {"at": "uid", "fault": "status", "status": 255, "times": 1},
               {"at": "uid", "fault": "short", "bytes": 17, "times": 1},
               {"at": "uid", "fault": "answer", "report": "0C0900", "times": 1},
               {"at": "uid", "fault": "delay", "ms": 30, "times": 1})");
  EXPECT_TRUE(Exchange({0x0C}).empty());
  EXPECT_NE(Exchange({0x0C}).at(0), 0x0C);
  EXPECT_NE(Receive().at(0), 0x0C);
  EXPECT_TRUE(Receive().empty());
  EXPECT_EQ(ToHex({Exchange({0x0C}).data(), 3}), "0CFF00");
  EXPECT_EQ(Exchange({0x0C}).size(), 17u);
  EXPECT_EQ(ToHex({Exchange({0x0C}).data(), 3}), "0C0900");
  Send({0x0C});
  EXPECT_TRUE(Receive(milliseconds(29)).empty());
  EXPECT_FALSE(Receive(milliseconds(30)).empty());
  EXPECT_EQ(Status(Exchange({0x0C})), 0);
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

TEST_F(ReaderModelTest, FailedTransfersDoNotReachTheCard) {
  Misbehave(R"({"at": "dn", "fault": "io-error", "times": 1},
               {"at": "dn", "fault": "io-error", "on": "read", "times": 1})");
  EXPECT_FALSE(reader.Request(Bytes{0x06}, now).ok);
  EXPECT_TRUE(reader.Request(Bytes{0x06}, now).ok);
  EXPECT_EQ(reader.Take(now)->kind, ReaderOutput::Kind::io_error);
  EXPECT_EQ(Status(Exchange(Key(0x07, card->inputKey))), 5);
}

TEST_F(ReaderModelTest, AnUnpluggedReaderComesBackForNewHandlesOnly) {
  Misbehave(R"({"at": "dn", "fault": "unplug", "replug": 2, "times": 1})");
  const int session = reader.SessionNumber();
  EXPECT_TRUE(reader.Alive(session));
  EXPECT_FALSE(reader.Request(Bytes{0x06}, now).ok);
  EXPECT_FALSE(reader.Alive(session));
  EXPECT_FALSE(reader.Enumerate().there);
  EXPECT_FALSE(reader.Enumerate().there);
  EXPECT_TRUE(reader.Enumerate().there);
  EXPECT_TRUE(reader.Open(now).there);
  EXPECT_FALSE(reader.Alive(session));
  EXPECT_TRUE(reader.Alive(reader.SessionNumber()));
}

TEST_F(ReaderModelTest, OpeningStartsWithoutOldReports) {
  Send({0x06});
  reader.Open(now);
  EXPECT_TRUE(Receive().empty());
}

TEST_F(ReaderModelTest, PlaysFaultsOfNotifications) {
  Misbehave(R"({"at": "notification", "fault": "kind", "kind": 255, "times": 1},
               {"at": "notification", "fault": "wrong-layout", "times": 1})");
  Exchange({0x01, 0x01});
  EXPECT_EQ(ToHex({Receive().data(), 3}), "01FF08");
  reader.PutCard(card, now);
  EXPECT_EQ(ToHex({Receive().data(), 3}), "011004");
}

TEST_F(ReaderModelTest, TheCardsOwnFaultsHoldWhileItLiesThere) {
  const Card spoiled = CardOf(R"({"type": "iden", "chip": {"seed": 5}, "faults":
      {"reader": {"faults": [{"at": "dn", "fault": "status", "status": 7}]}}})");
  reader.PutCard(std::make_shared<const Card>(spoiled), now);
  EXPECT_EQ(Status(Exchange({0x06})), 7);
  reader.PutCard(card, now);
  EXPECT_EQ(Status(Exchange({0x06})), 0);
}

}  // namespace
}  // namespace devkit
