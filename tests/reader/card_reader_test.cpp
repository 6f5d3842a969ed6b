#include "reader/card_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "reader/scripted_reader.h"
#include "support/logged_lines.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using Reports = std::vector<ScriptedReader::Report>;

const auto& kNothing = ScriptedReader::kNothing;
const auto& kLost = ScriptedReader::kLost;
ScriptedReader::Report Reply(std::string_view hex) { return ScriptedReader::Reply(hex); }
ScriptedReader::Report Part(std::uint8_t value) { return ScriptedReader::Report(64, value); }

bool Never() { return false; }

std::string Described(const ReaderOutcome& outcome) {
  return outcome.kind == ReaderOutcome::Kind::abandoned
             ? "abandoned"
             : (outcome.Done() ? "done" : std::to_string(outcome.code));
}

class CardReaderTest : public testing::Test {
 protected:
  CardReaderTest() { reader.Configure(ReaderSettings()); }

  std::string Open() {
    bool newlyOpened = false;
    const ReaderOutcome outcome = reader.OpenDevice(newlyOpened, Never);
    return Described(outcome) + (newlyOpened ? " anew" : "");
  }
  // A command that brings these reports.
  std::string Dn(const Reports& reports) {
    door.Script(0x06, reports);
    return Described(reader.ReadDn(answer, Never));
  }
  // Whether the reader counts as lost: its codes are gone, and it is opened anew.
  bool Lost() {
    const bool lost = reader.DeviceStatus() == 3;
    EXPECT_EQ(reader.VersionCode(), lost ? "" : "0284");
    EXPECT_EQ(reader.AuthorizeCode(), lost ? "" : "A1A2A3A4A5A6");
    EXPECT_EQ(Open(), lost ? "done anew" : "done");
    EXPECT_EQ(reader.DeviceStatus(), 1U);
    return lost;
  }

  ScriptedReader door;
  TestClock clock;
  ActivityLog log{"Reader", clock};
  CardReader reader{door, log, clock};
  Answer answer{};
  Block file;
};

TEST_F(CardReaderTest, OpensAnewAfterAnOpeningThatFailed) {
  const auto open = [this](const Reports& reports) {
    door.Script(0x64, reports);
    return Open();
  };
  door.result = ReaderDoor::Result::not_found;
  EXPECT_EQ(Open(), "27");
  door.result = ReaderDoor::Result::not_opened;
  EXPECT_EQ(Open(), "28");
  door.result = ReaderDoor::Result::opened;
  EXPECT_EQ(open({kNothing}), "30");
  EXPECT_EQ(open({kLost}), "47");
  EXPECT_EQ(open({Reply("6403")}), "34");
  // Without a code the status that the buffer holds decides.
  EXPECT_EQ(open({Reply("3105"), Reply("3205")}), "0");
  EXPECT_EQ(open({Reply("3100"), Reply("3200 AB CD")}), "done anew");
  EXPECT_EQ(reader.VersionCode(), "ABCD");
  EXPECT_EQ(Open(), "done");
  EXPECT_EQ(door.opened, 7);
}

TEST_F(CardReaderTest, AnAnswerEchoesItsCommandAndHasAStatus) {
  Open();
  EXPECT_EQ(Dn({Reply("0600")}), "done");
  EXPECT_EQ(Dn({Reply("0500"), Reply("0600 07")}), "done");
  EXPECT_EQ(answer[2], 7);
  EXPECT_EQ(Dn({Reply("0500"), Reply("0700")}), "0");
  EXPECT_EQ(Dn({Reply("0500"), kNothing}), "0");
  EXPECT_EQ(Dn({kNothing}), "30");
  EXPECT_EQ(Dn({ScriptedReader::Report(63, 0x06)}), "30");
  EXPECT_EQ(Dn({ScriptedReader::Report(65, 0x06)}), "30");
  for (int status = 1; status <= 8; ++status) {
    EXPECT_EQ(Dn({Reply("060" + std::to_string(status))}), std::to_string(31 + status));
  }
  EXPECT_EQ(Dn({Reply("0609")}) + Dn({Reply("06FF")}), "3131");
  EXPECT_EQ(Dn({Reply("0500"), Reply("0603")}), "34");
  EXPECT_FALSE(Lost());
}

TEST_F(CardReaderTest, LogsWhatItCouldNotUse) {
  Open();
  const LoggedLines errors;
  Dn({Reply("0500"), kNothing});
  Dn({kNothing});
  const std::string request = "0006" + std::string(126, '0');
  const std::string other = HexText(Reply("0500")) + "00";
  // What an earlier answer held, of another card perhaps, is not among it.
  EXPECT_THAT(errors.Get(), ElementsAre("output:" + request, "intput:" + other, "output:" + request,
                                        "intput:" + other, "writeAndReadData-write:" + request,
                                        "writeAndReadData-read:" + std::string(130, '0')));
}

TEST_F(CardReaderTest, AFailingLineLosesTheReader) {
  Open();
  EXPECT_EQ(Dn({kLost}), "47");
  EXPECT_TRUE(Lost());
  EXPECT_EQ(Dn({Reply("0500"), kLost}), "47");
  EXPECT_TRUE(Lost());
  door.Script(0x0B, {Part(1), kLost});
  EXPECT_EQ(Described(reader.ReadCardFile(kFile11, file, Never)), "47");
  EXPECT_TRUE(Lost());
  door.Script(0x65, {kLost});
  EXPECT_EQ(Described(reader.beep(1, Never)), "47");
  EXPECT_TRUE(Lost());
  door.writesFail = true;
  EXPECT_EQ(Dn({}), "47");
  door.writesFail = false;
  EXPECT_TRUE(Lost());
}

TEST_F(CardReaderTest, CommandsTakeTheirParametersAndTimes) {
  const Block key = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
  Open();
  EXPECT_TRUE(reader.ReadDn(answer, Never).Done());
  EXPECT_EQ(HexText(answer).substr(0, 12), "060001020304");
  EXPECT_TRUE(reader.WriteInputKey(key, answer, Never).Done());
  EXPECT_EQ(HexText(answer).substr(0, 12), "070021222324");
  EXPECT_TRUE(reader.ReadCardFile({0x12, 0x0134}, file, Never).Done());
  EXPECT_TRUE(reader.WriteOutputKey(key, Never).Done());
  EXPECT_TRUE(reader.ReadDn(answer, Never).Done());
  std::vector<std::string> requests;
  for (const auto& request : door.Written()) {
    EXPECT_EQ(request.size(), 65U);
    requests.push_back(HexText(request).substr(0, 22));
  }
  // What a command does not write is what the one before has left; no key stays behind.
  EXPECT_THAT(requests, ElementsAre("0030000000000000000000", "0064000000000000000000",
                                    "0006000000000000000000", "0007112233445566778800",
                                    "000B120134445566778800", "0008112233445566778800",
                                    "0006000000000000000000"));
  EXPECT_THAT(door.Timeouts(),
              ElementsAre(1000, 1000, 0, 2000, 2000, 100, 100, 100, 100, 100, 100, 2000, 0, 2000));
}

TEST_F(CardReaderTest, AFileIsReadInStepsOf60) {
  const auto parts = [this](const Reports& reports) {
    door.Script(0x0B, reports);
    EXPECT_TRUE(reader.ReadCardFile(kFile11, file, Never).Done());
    EXPECT_EQ(file.size(), 214U);
    for (std::size_t byte = 0; byte < file.size(); ++byte)
      EXPECT_EQ(file[byte], file[byte / 60 * 60]);
    return HexText(std::vector{file[0], file[60], file[120], file[180]});
  };
  Open();
  EXPECT_EQ(parts({Part(1), Part(2), Part(3), Part(4)}), "01020304");
  EXPECT_EQ(HexText(door.Written().back()).substr(0, 10), "000B1100D6");
  // A step without a report has what the buffer holds.
  EXPECT_EQ(parts({Part(1), kNothing, Part(3), Part(4)}), "01010304");
  EXPECT_EQ(parts({Part(1), Part(2), Part(3)}), "01020303");
}

// The read thread may get the reader only after the next read has begun there.
TEST_F(CardReaderTest, WhatIsOverBeforeItBeginsIsNotSent) {
  Open();
  const auto over = [] { return true; };
  const std::string before = door.Commands();
  Answer answer{};
  EXPECT_EQ(Described(reader.WriteInputKey(Block(kKeySize), answer, over)), "abandoned");
  EXPECT_EQ(Described(reader.WriteOutputKey(Block(kKeySize), over)), "abandoned");
  EXPECT_EQ(Described(reader.ReadCardFile(kFile11, file, over)), "abandoned");
  EXPECT_EQ(Described(reader.ReadDn(answer, over)), "abandoned");
  EXPECT_EQ(Described(reader.getSfzCardUid(over)), "abandoned");
  EXPECT_EQ(Described(reader.beep(10, over)), "abandoned");
  bool notified = false;
  EXPECT_EQ(Described(reader.openAutoFindCard(notified, over)), "abandoned");
  EXPECT_EQ(door.Commands(), before);
}

TEST_F(CardReaderTest, DropsWhatWasLeftOverBeforeTheNextCard) {
  Open();
  const auto leftAfterOpening = [this](std::size_t pending) {
    door.Pend(Reply("0600 EE"), pending);
    Open();
    const std::size_t left = door.ReportsLeft();
    door.Forget();
    return left;
  };
  EXPECT_EQ(leftAfterOpening(2), 2U);  // nothing went wrong, so nobody looks
  Dn({kNothing});
  EXPECT_EQ(leftAfterOpening(300), 0U);
  EXPECT_EQ(door.Timeouts().back(), 0U);
  EXPECT_EQ(leftAfterOpening(2), 2U);  // once is enough
  Dn({Reply("0500"), Reply("0600")});
  EXPECT_EQ(leftAfterOpening(2), 0U);
  door.Script(0x65, {kNothing});
  reader.beep(500, Never);
  EXPECT_EQ(leftAfterOpening(2), 0U);
  door.Script(0x01, {kNothing});
  bool notified = false;
  reader.openAutoFindCard(notified, Never);  // may be acknowledged late
  EXPECT_EQ(leftAfterOpening(2), 0U);
  door.Script(0x0B, {Part(1), kNothing, Part(3), Part(4)});
  reader.ReadCardFile(kFile11, file, Never);
  EXPECT_EQ(leftAfterOpening(2), 0U);
  // A DN is asked for with nothing left, whatever has happened.
  door.Pend(Reply("0600 EE"));
  EXPECT_TRUE(reader.ReadDn(answer, Never).Done());
  EXPECT_EQ(answer[2], 1);
}

// A file goes on coming when it is abandoned.
TEST_F(CardReaderTest, WaitsUntilAnAbandonedFileHasCome) {
  Open();
  int steps = 0;
  const auto soon = [&steps] { return ++steps > 3; };
  EXPECT_EQ(Described(reader.ReadCardFile(kFile13, file, soon)), "abandoned");
  EXPECT_EQ(door.ReportsLeft(), 16U);
  Open();
  EXPECT_EQ(door.ReportsLeft(), 0U);
  const auto timeouts = door.Timeouts();
  EXPECT_EQ(timeouts[timeouts.size() - 2], 60U);  // nothing came for so long
  EXPECT_EQ(timeouts.back(), 0U);
}

TEST_F(CardReaderTest, WithoutIdsOfTheReaderThereIsNone) {
  for (const auto& [vid, pid] : {std::pair{0U, 258U}, {49686U, 0U}, {65536U, 258U}}) {
    ReaderSettings settings;
    settings.vid = vid;
    settings.pid = pid;
    reader.Configure(settings);
    EXPECT_EQ(Open(), "27");
  }
  EXPECT_EQ(door.opened, 0);
}

// What the system has begun for a thread ends with it, and its code for readers is made for one.
TEST_F(CardReaderTest, OneThreadSpeaksToTheReader) {
  for (int round = 0; round < 2; ++round) {
    for (int caller = 0; caller < 3; ++caller) {
      std::thread([this] {
        Open();
        reader.ReadDn(answer, Never);
      }).join();
    }
    std::thread([this] { reader.Close(); }).join();
  }
  EXPECT_LE(door.ThreadChanges(), 1) << "one thread from the first opening to the closing";
}

TEST_F(CardReaderTest, TheSearchIsOnWhereItWasSwitchedOnUntilTheLineIsLost) {
  bool notified = false;
  Open();
  EXPECT_TRUE(reader.openAutoFindCard(notified, Never).Done());
  reader.UseSerialPort(true);
  EXPECT_FALSE(reader.SearchIsOn());
  EXPECT_TRUE(reader.closeAutoFindCard(Never).Done());  // nothing to be sent down this line
  reader.UseSerialPort(false);
  EXPECT_TRUE(reader.SearchIsOn());
  Dn({kLost});
  EXPECT_FALSE(reader.SearchIsOn());
  Open();
  EXPECT_TRUE(reader.openAutoFindCard(notified, Never).Done());
  reader.Close();
  EXPECT_FALSE(reader.SearchIsOn());
}

TEST_F(CardReaderTest, BeepsInUnitsOfTenMilliseconds) {
  Open();
  for (const auto& [milliseconds, duration] : {std::pair{0U, 1},
                                               {5U, 1},
                                               {19U, 1},
                                               {20U, 2},
                                               {500U, 50},
                                               {2559U, 255},
                                               {2560U, 1},
                                               {2579U, 1},
                                               {2580U, 2},
                                               {0xFFFFFFFFU, 0x99}}) {
    door.Script(0x65, {Reply("6508")});  // nobody looks at the answer
    EXPECT_TRUE(reader.beep(milliseconds, Never).Done());
    EXPECT_EQ(door.Written().back()[2], duration) << milliseconds;
  }
}

TEST_F(CardReaderTest, KnowsTheUidOfACard) {
  Open();
  EXPECT_TRUE(reader.getSfzCardUid(Never).Done());
  EXPECT_EQ(reader.CardUidHex(), "E001020304050607");
  EXPECT_EQ(reader.CardKind(), 16U);
  for (const int length : {0, 1, 60, 61, 255}) {
    reader.ForgetCardUid();
    ScriptedReader::Report report = Reply("0D0044");
    report[3] = static_cast<std::uint8_t>(length);
    door.Script(0x0D, {report});
    const bool valid = length > 0 && length <= 60;
    EXPECT_EQ(Described(reader.ReadTypeACardUid(Never)), valid ? "done" : "0") << length;
    EXPECT_EQ(reader.CardUidHex(), HexText(&report[4], valid ? report[3] : 0U));
  }
  EXPECT_EQ(reader.CardKind(), 0x44U);
}

}  // namespace
}  // namespace idcardreader
