#include "reader/card_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/serial_port.h"
#include "reader/scripted_reader.h"
#include "support/eventually.h"
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
  std::string Dn(const Reports& reports, const AbandonTest& abandoned = Never) {
    backend.Script(0x06, reports);
    return Described(reader.ReadDn(answer, abandoned));
  }
  std::string File(const CardFile& cardFile, const Reports& reports,
                   const AbandonTest& abandoned = Never) {
    backend.Script(0x0B, reports);
    return Described(reader.ReadCardFile(cardFile, file, abandoned));
  }
  std::string SwitchSearchOn(const Reports& reports) {
    backend.Script(0x01, reports);
    notified = false;
    return Described(reader.openAutoFindCard(notified, Never));
  }

  ScriptedReader backend;
  TestClock clock;
  const std::string logName = testing::UnitTest::GetInstance()->current_test_info()->name();
  ActivityLog log{logName, clock};
  CardReader reader{backend, log, clock};
  Answer answer{};
  Block file;
  bool notified = false;
};

TEST_F(CardReaderTest, OpensAnewAfterAnOpeningThatFailed) {
  for (const int code : {27, 28}) {
    backend.openFailure = code;
    EXPECT_EQ(Open(), std::to_string(code));
  }
  backend.openFailure = ERRORT_None;
  backend.Script(0x64, {kNothing});
  EXPECT_EQ(Open(), "30");
  // Without a code the status that the buffer holds decides.
  backend.Script(0x64, {Reply("3105"), Reply("3205")});
  EXPECT_EQ(Open(), "0");
  backend.Script(0x64, {Reply("3100"), Reply("3200 AB CD")});
  EXPECT_EQ(Open(), "done anew");
  EXPECT_EQ(reader.Known().versionCode, "ABCD");
  EXPECT_EQ(Open(), "done");
  EXPECT_EQ(backend.opened, 5);
}

TEST_F(CardReaderTest, AChangeOfItsKindIdentifiesTheReaderAnew) {
  EXPECT_EQ(Open(), "done anew");
  reader.UseSerialPort(true);
  reader.UseSerialPort(true);
  EXPECT_EQ(Open(), "done anew");
  EXPECT_EQ(Open(), "done");
  for (const bool serial : {false, true}) reader.UseSerialPort(serial);
  EXPECT_EQ(Open(), "done anew");
  EXPECT_EQ(backend.opened, 2) << "a serial port stays open";
  reader.Close();
  EXPECT_EQ(backend.openNow, 0);
}

TEST_F(CardReaderTest, EachStatusHasItsCodeAndItsTextInTheLog) {
  const char* const texts[] = {"通信错误", "冲突检测信号", "通信超时", "缓冲区太小", "内部错误",
                               "参数非法", "CRC_A 不匹配", "卡被锁死", "未知错误",   "未知错误"};
  const auto file =
      platform::LibraryFolder() / "logdata" / ("20240102-030405006-" + logName + ".txt");
  std::filesystem::remove(file);  // of a run before
  Open();
  log.Switch(true);
  std::string wanted;
  std::uint8_t status = 0;
  for (const char* text : texts) {
    ++status;
    EXPECT_EQ(Dn({{0x06, status}}), "30") << "a whole report is 64 bytes";
    EXPECT_EQ(Dn({Reply("06" + HexText(&status, 1))}),
              std::to_string(status > 8 ? 31 : 31 + status));
    wanted += Gbk(text) + ";";
  }
  std::string logged;
  Eventually([&] {  // the log has a thread of its own
    logged.clear();
    for (const std::string& line : LinesOf(file)) {
      if (line.find("HID") == std::string::npos) logged += line.substr(line.rfind('|') + 1) + ";";
    }
    return logged == wanted;
  });
  EXPECT_EQ(logged, wanted);
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
  EXPECT_EQ(Dn({Reply("0500"), Reply("0603")}), "34");
  EXPECT_EQ(reader.Known().versionCode, "0284");
  EXPECT_EQ(Dn({Reply("0500"), kLost}), "47");
  EXPECT_EQ(reader.Known().deviceStatus, 3U);
  EXPECT_EQ(reader.Known().versionCode + reader.Known().authorizeCode, "");
  EXPECT_EQ(Open(), "done anew");
  EXPECT_EQ(reader.Known().deviceStatus, 1U);
}

TEST_F(CardReaderTest, CommandsTakeTheirParametersAndTimes) {
  const Block key = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
  Open();
  EXPECT_EQ(Dn({Reply("0600")}), "done");
  EXPECT_TRUE(reader.WriteInputKey(key, answer, Never).Done());
  EXPECT_EQ(HexText(answer).substr(0, 12), "070021222324");
  EXPECT_TRUE(reader.ReadCardFile({0x12, 0x0134}, file, Never).Done());
  EXPECT_TRUE(reader.WriteOutputKey(key, Never).Done());
  EXPECT_EQ(Dn({Reply("0600")}), "done");
  std::vector<std::string> requests;
  for (const auto& request : backend.Written()) {
    EXPECT_EQ(request.size(), 65U);
    requests.push_back(HexText(request).substr(0, 22));
  }
  // What a command does not write is what the one before has left; no key stays behind.
  EXPECT_THAT(requests, ElementsAre("0030000000000000000000", "0064000000000000000000",
                                    "0006000000000000000000", "0007112233445566778800",
                                    "000B120134445566778800", "0008112233445566778800",
                                    "0006000000000000000000"));
  EXPECT_THAT(backend.Timeouts(),
              ElementsAre(1000, 1000, 0, 2000, 2000, 100, 100, 100, 100, 100, 100, 2000, 0, 2000));
}

// The read thread may get the reader only after the next read has begun there.
TEST_F(CardReaderTest, WhatIsOverBeforeItBeginsIsNotSent) {
  Open();
  const std::string before = backend.Commands();
  EXPECT_EQ(Dn({}, [] { return true; }), "abandoned");
  EXPECT_EQ(backend.Commands(), before);
}

TEST_F(CardReaderTest, DropsWhatWasLeftOverBeforeTheNextCard) {
  Open();
  const auto leftAfterOpening = [this](std::size_t pending) {
    backend.Pend(Reply("0600 EE"), pending);
    Open();
    const std::size_t left = backend.ReportsLeft();
    backend.Forget();
    return left;
  };
  EXPECT_EQ(leftAfterOpening(2), 2U);  // nothing went wrong, so nobody looks
  Dn({kNothing});
  EXPECT_EQ(leftAfterOpening(300), 0U);
  EXPECT_EQ(backend.Timeouts().back(), 0U);
  EXPECT_EQ(leftAfterOpening(2), 2U);  // once is enough
  Dn({Reply("0500"), Reply("0600")});
  EXPECT_EQ(leftAfterOpening(2), 0U);
  backend.Script(0x65, {kNothing});
  reader.beep(500, Never);
  EXPECT_EQ(leftAfterOpening(2), 0U);
  SwitchSearchOn({kNothing});  // may be acknowledged late
  EXPECT_EQ(leftAfterOpening(2), 0U);
  SwitchSearchOn({Reply("0100")});
  reader.closeAutoFindCard(Never);  // a card may have been reported meanwhile
  EXPECT_EQ(leftAfterOpening(2), 0U);
  File(kFile11, {Part(1), kNothing, Part(3), Part(4)});
  EXPECT_EQ(leftAfterOpening(2), 0U);
  // A DN is asked for with nothing left, whatever has happened.
  backend.Pend(Reply("0600 EE"));
  EXPECT_TRUE(reader.ReadDn(answer, Never).Done());
  EXPECT_EQ(answer[2], 1);
}

// A file goes on coming when it is abandoned.
TEST_F(CardReaderTest, WaitsUntilAnAbandonedFileHasCome) {
  Open();
  int steps = 0;
  EXPECT_EQ(File(kFile13, Reports(18, Part(1)), [&steps] { return ++steps > 3; }), "abandoned");
  EXPECT_EQ(backend.ReportsLeft(), 16U);
  Open();
  EXPECT_EQ(backend.ReportsLeft(), 0U);
  const auto timeouts = backend.Timeouts();
  EXPECT_EQ(timeouts[timeouts.size() - 2], 60U);  // nothing came for so long
  EXPECT_EQ(timeouts.back(), 0U);
}

TEST_F(CardReaderTest, WithoutIdsOfTheReaderThereIsNone) {
  ReaderSettings settings;
  for (const auto& [vid, pid] : {std::pair{0U, 258U}, {49686U, 0U}, {65536U, 258U}}) {
    settings.vid = vid;
    settings.pid = pid;
    reader.Configure(settings);
    EXPECT_EQ(Open(), "27");
  }
  EXPECT_EQ(backend.opened, 0);
}

TEST_F(CardReaderTest, TheSearchIsOnWhenTheReaderSaysSo) {
  const auto card = Reply("0110 08 E001020304050607");
  const struct {
    Reports reports;
    bool done, notified, on;
  } rows[] = {
      {{Reply("0100")}, true, false, true},
      {{Reply("0101")}, false, false, false},  // refused
      {{Reply("0200"), kNothing}, false, false, false},
      {{kNothing}, false, false, false},
      {{card, Reply("0100")}, true, true, true},
      {{card, Reply("0101")}, false, true, true},  // it reports a card, so it searches
  };
  Open();
  for (const auto& row : rows) {
    reader.Close();
    Open();
    EXPECT_EQ(SwitchSearchOn(row.reports) == "done", row.done);
    EXPECT_EQ(notified, row.notified);
    EXPECT_EQ(reader.SearchIsOn(), row.on);
  }
  EXPECT_EQ(reader.Known().cardUidHex, "E001020304050607");
  backend.Script(0x01, {Reply("0101")});
  reader.closeAutoFindCard(Never);
  EXPECT_TRUE(reader.SearchIsOn()) << "it has refused to end";
  EXPECT_TRUE(reader.closeAutoFindCard(Never).Done());
  EXPECT_FALSE(reader.SearchIsOn());
  EXPECT_EQ(backend.Timeouts().back(), 1000U);
}

TEST_F(CardReaderTest, TheSearchIsOnWhereItWasSwitchedOnUntilTheLineIsLost) {
  Open();
  EXPECT_EQ(SwitchSearchOn({Reply("0100")}), "done");
  reader.UseSerialPort(true);
  EXPECT_FALSE(reader.SearchIsOn());
  EXPECT_TRUE(reader.closeAutoFindCard(Never).Done());  // nothing to be sent down this line
  reader.UseSerialPort(false);
  EXPECT_TRUE(reader.SearchIsOn());
  Dn({kLost});
  EXPECT_FALSE(reader.SearchIsOn());
}

TEST_F(CardReaderTest, BeepsInUnitsOfTenMilliseconds) {
  Open();
  for (const auto& [milliseconds, duration] :
       {std::pair{0U, 1}, {19U, 1}, {20U, 2}, {2559U, 255}, {2560U, 1}, {2580U, 2}}) {
    backend.Script(0x65, {Reply("6508")});  // nobody looks at the answer
    EXPECT_TRUE(reader.beep(milliseconds, Never).Done());
    EXPECT_EQ(backend.Written().back()[2], duration) << milliseconds;
  }
}

TEST_F(CardReaderTest, KnowsTheUidOfACard) {
  Open();
  EXPECT_TRUE(reader.getSfzCardUid(Never).Done());
  EXPECT_EQ(reader.Known().cardUidHex, "E001020304050607");
  EXPECT_EQ(reader.Known().cardKind, 16U);
  for (const int length : {0, 1, 60, 61, 255}) {
    reader.ForgetCardUid();
    ScriptedReader::Report report = Reply("0D0044");
    report[3] = static_cast<std::uint8_t>(length);
    backend.Script(0x0D, {report});
    const bool valid = length > 0 && length <= 60;
    EXPECT_EQ(Described(reader.ReadTypeACardUid(Never)), valid ? "done" : "0") << length;
    EXPECT_EQ(reader.Known().cardUidHex, HexText(&report[4], valid ? report[3] : 0U));
  }
  EXPECT_EQ(reader.Known().cardKind, 0x44U);
}

// In a line of its own; the code's text follows when the code is raised.
TEST(SystemReaderBackend, LogsWhyAPortDoesNotOpen) {
  const LoggedLines errors;
  std::unique_ptr<ReaderDevice> device;
  const auto opened =
      SystemReaderBackend().OpenSerial(platform::SerialPortName(998, ""), 9600, device);
  EXPECT_EQ(Described(opened), "48");
  EXPECT_THAT(
      errors.Get(),
      ElementsAre(testing::StartsWith("Open(): CreateFile() failed, invalid handle value: (2) ")));
}

// A serial line at 300 baud that takes its time for each piece of an answer.
class SerialReaderTest : public CardReaderTest {
 protected:
  SerialReaderTest() {
    ReaderSettings settings;
    settings.comport = 300;
    settings.comnum = 7;
    reader.Configure(settings);
    reader.UseSerialPort(true);
    backend.clock = &clock;
    Open();
    begun = clock.ticks;
  }
  static Reports Pieces(const ScriptedReader::Report& whole, std::size_t size) {
    Reports pieces;
    for (std::size_t at = 0; at < whole.size(); at += size) {
      const auto from = whole.begin() + static_cast<std::ptrdiff_t>(at);
      pieces.emplace_back(from,
                          from + static_cast<std::ptrdiff_t>(std::min(size, whole.size() - at)));
    }
    return pieces;
  }
  std::uint32_t Passed() { return clock.ticks - begun; }

  std::uint32_t begun = 0;
};

TEST_F(SerialReaderTest, OpensItsPortOnceAndAnewWhenItTakesNoCommand) {
  EXPECT_EQ(backend.ports, platform::SerialPortName(7, "") + "@300 ");
  EXPECT_EQ(clock.sleptMs, 100U);
  EXPECT_EQ(Open(), "done");
  backend.writesFail = true;
  EXPECT_EQ(Dn({}), "30");
  EXPECT_EQ(backend.openNow, 0);
  backend.openFailure = ERRORT_SerialPort;
  EXPECT_EQ(Open(), "48");
  backend.writesFail = false;
  backend.openFailure = ERRORT_None;
  EXPECT_EQ(Open(), "done anew");
  EXPECT_EQ(backend.opened, 3);
  reader.Close();
  ReaderSettings settings;
  settings.comnum = 1000;
  reader.Configure(settings);
  EXPECT_EQ(Open(), "48") << "there is no such port";
  EXPECT_EQ(backend.opened, 3);
}

TEST_F(SerialReaderTest, AnAnswerIsWhatComesUntilItIsWholeOrPauses) {
  EXPECT_EQ(Dn(Pieces(Reply("0600"), 20)), "done");
  EXPECT_EQ(HexText(answer), HexText(Reply("0600")));
  backend.pieceMs = 150;  // the pauses do not add up
  EXPECT_EQ(Dn(Pieces(Reply("0600"), 13)), "done");
  EXPECT_EQ(HexText(answer), HexText(Reply("0600")));
  EXPECT_EQ(Dn({Bytes("0600")}), "done");
  EXPECT_EQ(answer[2], 0);
  EXPECT_EQ(Dn({Bytes("06")}), "30");
  EXPECT_EQ(Dn({}), "30");
  EXPECT_EQ(Dn({Bytes("4203")}), "34") << "nothing is echoed";
}

TEST_F(SerialReaderTest, AFileMayPauseForTwoSeconds) {
  ScriptedReader::Report bytes(256);
  for (std::size_t at = 0; at < bytes.size(); ++at) bytes[at] = static_cast<std::uint8_t>(at);
  backend.pieceMs = 1500;
  EXPECT_EQ(File(kFile12, Pieces(bytes, 60)), "done");
  EXPECT_EQ(file, bytes);
  backend.pieceMs = 2100;
  begun = clock.ticks;
  EXPECT_EQ(File(kFile12, Pieces(bytes, 60)), "30");
  EXPECT_EQ(Passed(), 100U + 2000U);
}

// An answer that drips ends a second behind its first byte, a file three seconds behind what its rate
// needs: here eight for 240 bytes of ten bits.
TEST_F(SerialReaderTest, WhatDripsIsGivenUp) {
  backend.pieceMs = 150;
  EXPECT_EQ(Dn(Pieces(Reply("0600"), 1)), "done");
  EXPECT_GE(Passed(), 100U + 1000U);
  EXPECT_LE(Passed(), 100U + 150U + 1000U);
  backend.Forget();
  begun = clock.ticks;
  EXPECT_EQ(File({0x12, 240}, Pieces(ScriptedReader::Report(240), 1)), "30");
  EXPECT_EQ(Passed(), 100U + 3000U + 8000U);
}

TEST_F(SerialReaderTest, AStopEndsAnAnswerAndAFile) {
  backend.pieceMs = 150;
  int asked = 0;
  const AbandonTest soon = [&asked] { return ++asked % 4 == 0; };
  EXPECT_EQ(Dn(Pieces(Reply("0600"), 1), soon), "abandoned");
  EXPECT_EQ(File(kFile12, Pieces(Reply("0600"), 1), soon), "abandoned");
  EXPECT_LE(Passed(), 2 * (100U + 4 * 150U));
}

TEST_F(SerialReaderTest, TellsOfACardOnlyWhileTheSearchIsSwitchedOn) {
  const auto card = Reply("0104 04 DEADBEEF");
  EXPECT_EQ(SwitchSearchOn({card, Reply("0100")}), "done");
  EXPECT_TRUE(notified);
  EXPECT_EQ(reader.Known().cardUidHex, "DEADBEEF");
  notified = false;
  backend.Pend(card);
  EXPECT_EQ(Described(reader.idReader_FindCard(notified, Never)), "done");
  EXPECT_FALSE(notified);
  EXPECT_EQ(Described(reader.idReader_FindCard(notified, Never)), "0") << "silence is a failure";
  EXPECT_EQ(Passed(), 100U + 200U);
}

}  // namespace
}  // namespace idcardreader
