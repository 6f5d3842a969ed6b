#include "reader/card_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/serial_port.h"
#include "reader/scripted_reader.h"
#include "support/logged_lines.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using Report = ScriptedReader::Report;

bool Never() { return false; }

std::string Described(const ReaderOutcome& outcome) {
  return outcome.kind == ReaderOutcome::Kind::abandoned
             ? "abandoned"
             : (outcome.Done() ? "done" : std::to_string(outcome.code));
}

// The code under test between a scripted reader and a clock that stands still.
class Desk {
 public:
  // Takes steps like "open; dn 0500 -" and yields what they bring. Behind a command stand the reports
  // that answer it: a whole one that begins with these digits, with "=" just these bytes, "-" for
  // none, "!" for the loss of the reader.
  std::string Do(const std::string& steps) {
    std::istringstream stream(steps);
    std::string outcomes;
    for (std::string step; std::getline(stream, step, ';');) {
      std::istringstream words(step);
      std::string verb, word;
      words >> verb;
      ScriptedReader::Reports reports;
      while (words >> word) reports.push_back(ReportOf(word));
      const auto code = kCodes.find(verb);
      if (code != kCodes.end() && !reports.empty()) backend.Script(code->second, reports);
      const std::string outcome = Do(verb, word);
      outcomes += outcomes.empty() || outcome.empty() ? outcome : "; " + outcome;
    }
    return outcomes;
  }

  ScriptedReader backend;
  TestClock clock;
  ActivityLog log{"Reader", clock};
  CardReader reader{backend, log, clock};
  ReaderSettings settings;
  Answer answer{};
  Block file;

 private:
  static inline const std::map<std::string, std::uint8_t> kCodes = {
      {"open", 0x64},       {"dn", 0x06},  {"file", 0x0B}, {"search", 0x01},
      {"end-search", 0x01}, {"uid", 0x0D}, {"beep", 0x65}};

  static Report ReportOf(const std::string& word) {
    if (word == "!") return ScriptedReader::kLost;
    if (word == "-") return ScriptedReader::kNothing;
    return word[0] == '=' ? Bytes(word.substr(1)) : ScriptedReader::Reply(word);
  }

  std::string Do(const std::string& verb, const std::string& word) {
    bool anew = false;
    bool notified = false;
    const int number = std::atoi(word.c_str());
    const auto search = [&](const ReaderOutcome& outcome) {
      return Described(outcome) + (notified ? " card" : "") +
             (reader.SearchIsOn() ? " on" : " off");
    };
    if (verb == "vid") settings.vid = static_cast<std::uint32_t>(number);
    if (verb == "pid") settings.pid = static_cast<std::uint32_t>(number);
    if (verb == "port") settings.comnum = static_cast<std::uint32_t>(number);
    reader.Configure(settings);
    if (verb == "usb" || verb == "serial") reader.UseSerialPort(verb == "serial");
    if (verb == "opening-fails") backend.openFailure = number;
    if (verb == "writing-fails") backend.writesFail = number != 0;
    if (verb == "close") reader.Close();
    if (verb == "300-pend") backend.pending.assign(300, ReportOf("0600EE"));
    if (verb == "left") return std::to_string(std::exchange(backend.pending, {}).size());
    if (verb == "opened") return std::to_string(backend.opened.size());
    if (verb == "open") {
      const std::string outcome = Described(reader.OpenDevice(anew, Never));
      return outcome + (anew ? " anew" : "");
    }
    if (verb == "dn") return Described(reader.ReadDn(answer, Never));
    if (verb == "file") return Described(reader.ReadCardFile(kFile11, file, Never));
    if (verb == "chip") return Described(reader.getSfzCardUid(Never));
    if (verb == "uid") return Described(reader.ReadTypeACardUid(Never));
    if (verb == "search") return search(reader.openAutoFindCard(notified, Never));
    if (verb == "end-search") return search(reader.closeAutoFindCard(Never));
    if (verb == "find") return search(reader.idReader_FindCard(notified, Never));
    if (verb == "is-on") return search({});
    if (verb == "beep") {
      reader.beep(static_cast<std::uint32_t>(number), Never);
      return HexText(&backend.written.back()[2], 1);
    }
    const CardReader::Info known = reader.Known();
    if (verb == "reader") {
      return std::to_string(known.deviceStatus) + known.versionCode + known.authorizeCode;
    }
    return verb == "card" ? std::to_string(known.cardKind) + " " + known.cardUidHex : "";
  }
};

class CardReaderTest : public testing::Test, public Desk {};

TEST(CardReader, StepsBring) {
  const std::string longest = HexText(&ScriptedReader::Reply("0D00443C")[4], 60);
  const struct {
    const char* what;
    std::string steps, outcomes;
  } rows[] = {
      {"an opening that failed is followed by another",
       "opening-fails 27; open; opening-fails 28; open; opening-fails 0; open -; open; opened",
       "27; 28; 30; done anew; 4"},
      {"without a code the status in the buffer decides",
       "open 3105 3205; open 3100 3200ABCD; reader; open", "0; done anew; 1ABCDA1A2A3A4A5A6; done"},
      {"a loss", "open; dn 0500 !; reader; open; reader",
       "done anew; 47; 3; done anew; 10284A1A2A3A4A5A6"},
      {"a USB reader without ids", "vid 0; open; vid 65536; open; vid 1; pid 0; open; opened",
       "27; 27; 27; 0"},
      {"another kind is identified anew, and a serial port stays open",
       "usb; open; serial; open; usb; open; usb; open; serial; open; serial; open; opened",
       "done anew; done anew; done anew; done; done anew; done; 3"},
      {"closed is closed, and there is no serial port 1000",
       "serial; open; close; port 1000; open; port 999; open; opened",
       "done anew; 48; done anew; 2"},
      {"a serial port that takes no command is opened anew",
       "serial; open; writing-fails 1; dn; opening-fails 48; open; writing-fails 0; opening-fails "
       "0;"
       "open; opened",
       "done anew; 30; 48; done anew; 3"},
      {"what is left over is dropped where something went wrong, and once is enough",
       "open; 300-pend; open; left; dn -; 300-pend; open; left; 300-pend; open; left",
       "done anew; done; 300; 30; done; 0; done; 300"},
      {"another answer first, a silent beep, a gap in a file",
       "open; dn 0500 0600; 300-pend; open; left; beep -; 300-pend; open; left;"
       "file 01 - 03 04; 300-pend; open; left",
       "done anew; done; done; 0; 01; done; 0; done; done; 0"},
      {"a search that may be acknowledged late, a card that may be reported while it ends",
       "open; search -; 300-pend; open; left; search; end-search; 300-pend; open; left",
       "done anew; 0 off; done; 0; done on; done off; done; 0"},
      {"a status beyond those that are known", "open; dn 0608; dn 0609; dn 06FF",
       "done anew; 39; 31; 31"},
      {"a DN is never taken from what lies there", "open; 300-pend; dn 0603; left",
       "done anew; 34; 0"},
      {"a search that is refused, or has another answer",
       "open; search 0101; search 0200 -; search 011004", "done anew; 0 off; 0 off; 0 off"},
      {"a card before the acknowledgement", "open; search 011008E001020304050607 0100; card",
       "done anew; done card on; 16 E001020304050607"},
      {"a refused search that reports a card", "open; search 010404DEADBEEF 0101; card",
       "done anew; 0 card on; 4 DEADBEEF"},
      {"a search that refuses to end", "open; search; end-search 0101; end-search",
       "done anew; done on; 0 on; done off"},
      {"it is on where it was switched on, until the line is lost",
       "open; search; serial; is-on; end-search; usb; is-on; dn !; is-on",
       "done anew; done on; done off; done off; done on; 47; done off"},
      {"a serial line tells of a card only while the search is switched on; silence is a failure",
       "serial; open; search 010404DEADBEEF 0100 011008E001020304050607; find; find; card",
       "done anew; done card on; done on; 0 on; 4 DEADBEEF"},
      {"what a serial answer lacks is not the card's before it",
       "serial; open; search 010404DEADBEEF =01", "done anew; done card on"},
      {"a beep has units of ten milliseconds",
       "open; beep 0; beep 19; beep 20; beep 2559; beep 2560; beep 2580",
       "done anew; 01; 01; 02; FF; 01; 02"},
      {"UIDs of any length that an answer can hold",
       "open; chip; card; uid; card; uid 0D004400; uid 0D00443C; uid 0D00443D; uid 0D0044FF; card",
       "done anew; done; 16 E001020304050607; done; 4 DEADBEEF; 0; done; 0; 0; 68 " + longest},
  };
  for (const auto& row : rows) EXPECT_EQ(Desk().Do(row.steps), row.outcomes) << row.what;
}

TEST_F(CardReaderTest, LogsWhatItCouldNotUse) {
  const LoggedLines errors;
  EXPECT_EQ(Do("open; dn 0500 0603; dn -; dn =0603"), "done anew; 34; 30; 30");
  const std::string request = "0006" + std::string(126, '0');
  const std::string silent = "writeAndReadData-write:" + request;
  // What an earlier answer held, of another card perhaps, is not among it.
  EXPECT_THAT(
      errors.Get(),
      ElementsAre("output:" + request, "intput:" + HexText(ScriptedReader::Reply("0500")) + "00",
                  silent, "writeAndReadData-read:" + std::string(130, '0'), silent,
                  "writeAndReadData-read:0603" + std::string(126, '0')));
}

TEST_F(CardReaderTest, CommandsTakeTheirParametersAndTimes) {
  const Block key = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
  EXPECT_EQ(Do("open; dn"), "done anew; done");
  EXPECT_TRUE(reader.WriteInputKey(key, answer, Never).Done());
  EXPECT_TRUE(reader.ReadCardFile({0x12, 0x0134}, file, Never).Done());
  EXPECT_TRUE(reader.WriteOutputKey(key, Never).Done());
  EXPECT_EQ(Do("dn; search; find; end-search"), "done; done on; done on; done off");
  std::string requests;
  for (const Report& request : backend.written) requests += HexText(request).substr(2, 18) + " ";
  // What a command does not write is what the one before has left; no key stays behind.
  EXPECT_EQ(requests,
            "300000000000000000 640000000000000000 060000000000000000 071122334455667788 "
            "0B1201344455667788 081122334455667788 060000000000000000 010100000000000000 "
            "010000000000000000 ");
  EXPECT_THAT(backend.timeouts, ElementsAre(1000, 1000, 0, 2000, 2000, 100, 100, 100, 100, 100, 100,
                                            2000, 0, 2000, 100, 1000, 1000));
}

// The read thread may get the reader only after the next read has begun there; and a file goes on
// coming when it is abandoned.
TEST_F(CardReaderTest, WhatIsOverIsNotBegunOrWaitedForUntilItHasCome) {
  Do("open");
  EXPECT_EQ(Described(reader.ReadDn(answer, [] { return true; })), "abandoned");
  EXPECT_EQ(backend.Commands(), "30 64");
  int steps = 0;
  EXPECT_EQ(Described(reader.ReadCardFile(kFile13, file, [&steps] { return ++steps > 3; })),
            "abandoned");
  EXPECT_EQ(backend.pending.size(), 16U);
  EXPECT_EQ(Do("open; left"), "done; 0");
  EXPECT_EQ(*++backend.timeouts.rbegin(), 60U) << "nothing came for so long";
}

// The code's text follows when the code is raised.
TEST(SystemReaderBackend, LogsWhyAPortDoesNotOpen) {
  const LoggedLines errors;
  std::unique_ptr<ReaderDevice> device;
  const std::string port = platform::SerialPortName(998, "");
  EXPECT_EQ(Described(SystemReaderBackend().OpenSerial(port, 9600, device)), "48");
  EXPECT_THAT(
      errors.Get(),
      ElementsAre(testing::StartsWith("Open(): CreateFile() failed, invalid handle value: (2) ")));
}

// At 300 baud, with a line that takes its time for each piece of an answer.
TEST_F(CardReaderTest, ASerialAnswerIsWhatComesInItsTime) {
  const struct {
    bool isFile;
    std::size_t sent, pieceSize;
    std::uint32_t pieceMs;
    int asked;  // at which it is abandoned
    const char* outcome;
    std::size_t received;
    std::uint32_t passedMs;  // a tenth of a second to empty the line before the command
  } rows[] = {
      {false, 64, 20, 0, 0, "done", 64, 100},
      {false, 64, 13, 150, 0, "done", 64, 100 + 5 * 150},  // the pauses do not add up
      {false, 2, 2, 0, 0, "done", 2, 100 + 200},
      {false, 1, 1, 0, 0, "30", 1, 100 + 200},
      {false, 1, 1, 300, 0, "30", 0, 100 + 200},
      {false, 64, 1, 150, 4, "abandoned", 3, 100 + 3 * 150},
      // What drips ends a second behind its first byte.
      {false, 64, 1, 150, 0, "done", 7, 100 + 150 + 1000},
      // A file may pause for two seconds, and ends three behind what its rate needs: here eight for
      // 240 bytes of ten bits.
      {true, 240, 60, 1500, 0, "done", 240, 100 + 4 * 1500},
      {true, 240, 60, 2100, 0, "30", 0, 100 + 2000},
      {true, 240, 1, 150, 0, "30", 73, 100 + 8000 + 3000},
      {true, 240, 1, 150, 4, "abandoned", 2, 100 + 2 * 150},
  };
  settings.comport = 300;
  EXPECT_EQ(Do("port 7; serial; open; dn =4203"), "done anew; 34") << "nothing is echoed";
  EXPECT_THAT(backend.opened, ElementsAre(platform::SerialPortName(7, "") + "@300"));
  EXPECT_EQ(clock.sleptMs, 100U);
  backend.clock = &clock;
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.sent) + " by " + testing::PrintToString(row.pieceSize));
    Report bytes = Bytes("0600");
    for (std::uint8_t next = 1; bytes.size() < row.sent; ++next) bytes.push_back(next);
    bytes.resize(row.sent);
    Do("left");
    backend.Script(row.isFile ? 0x0B : 0x06, {bytes});
    backend.pieceSize = row.pieceSize;
    backend.pieceMs = row.pieceMs;
    int asked = 0;
    const AbandonTest abandoned = [&] { return ++asked == row.asked; };
    const std::uint32_t begun = clock.ticks;
    EXPECT_EQ(Described(row.isFile ? reader.ReadCardFile({0x12, 240}, file, abandoned)
                                   : reader.ReadDn(answer, abandoned)),
              row.outcome);
    EXPECT_EQ(clock.ticks - begun, row.passedMs);
    bytes.resize(row.received);
    bytes.resize(row.isFile ? file.size() : answer.size());  // nothing of before stands behind it
    EXPECT_EQ(row.isFile ? HexText(file) : HexText(answer), HexText(bytes));
  }
  Do("left");
  const std::uint32_t begun = clock.ticks;
  EXPECT_EQ(Do("find"), "0 off");
  EXPECT_EQ(clock.ticks - begun, 200U);
}

}  // namespace
}  // namespace idcardreader
