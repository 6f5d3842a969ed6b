#include "reader/card_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reader/scripted_reader.h"
#include "support/logged_lines.h"
#include "support/test_clock.h"

namespace idcardreader {
namespace {

using testing::Each;
using testing::ElementsAre;
using Reports = std::vector<ScriptedReader::Report>;

const auto& kNothing = ScriptedReader::kNothing;
const auto& kLost = ScriptedReader::kLost;
ScriptedReader::Report Reply(std::string_view hex) { return ScriptedReader::Reply(hex); }

std::string Described(const ReaderOutcome& outcome) {
  switch (outcome.kind) {
    case ReaderOutcome::Kind::done:
      return "done";
    case ReaderOutcome::Kind::abandoned:
      return "abandoned";
    case ReaderOutcome::Kind::failed:
      return std::to_string(outcome.code);
  }
  return {};
}

bool Never() { return false; }

class CardReaderTest : public testing::Test {
 protected:
  CardReaderTest() { reader.Configure(ReaderSettings()); }

  std::string Open() {
    bool newlyOpened = false;
    const ReaderOutcome outcome = reader.OpenDevice(newlyOpened);
    EXPECT_TRUE(outcome.Done() || !newlyOpened);
    return Described(outcome) + (newlyOpened ? " anew" : "");
  }

  ScriptedReader door;
  TestClock clock;
  ActivityLog log{"Reader", clock};
  CardReader reader{door, log, clock};
};

TEST_F(CardReaderTest, OpensAndIdentifiesTheReaderOnce) {
  EXPECT_EQ(Open(), "done anew");
  EXPECT_EQ(door.vendorId, 0xC216);
  EXPECT_EQ(door.productId, 0x0102);
  EXPECT_EQ(reader.AuthorizeCode(), "A1A2A3A4A5A6");
  EXPECT_EQ(reader.VersionCode(), "0284");
  EXPECT_EQ(reader.DeviceStatus(), 1U);
  EXPECT_THAT(door.Timeouts(), ElementsAre(1000, 1000));
  EXPECT_EQ(Open(), "done");
  EXPECT_EQ(door.Commands(), "30 64");
  reader.Close();
  EXPECT_EQ(Open(), "done anew");
}

struct OpenCase {
  const char* name;
  ReaderDoor::Result result;
  Reports authorizeCode;  // the answers; none: the usual one
  std::string outcome;
};

class Opening : public CardReaderTest, public testing::WithParamInterface<OpenCase> {};

TEST_P(Opening, Ends) {
  door.result = GetParam().result;
  if (!GetParam().authorizeCode.empty()) door.Script(0x30, GetParam().authorizeCode);
  EXPECT_EQ(Open(), GetParam().outcome);
  EXPECT_EQ(reader.DeviceStatus(),
            GetParam().outcome == "47" ? 3U : (GetParam().outcome == "done anew" ? 1U : 0U));
  door.result = ReaderDoor::Result::opened;
  Open();
  EXPECT_EQ(door.opened, GetParam().outcome == "done anew" ? 1 : 2);
}

constexpr auto kOpened = ReaderDoor::Result::opened;

INSTANTIATE_TEST_SUITE_P(
    Readers, Opening,
    testing::Values(
        OpenCase{"NotFound", ReaderDoor::Result::not_found, {}, "27"},
        OpenCase{"NotOpened", ReaderDoor::Result::not_opened, {}, "28"},
        OpenCase{"NoAnswer", kOpened, {kNothing}, "30"}, OpenCase{"Lost", kOpened, {kLost}, "47"},
        OpenCase{"BadStatus", kOpened, {Reply("3003")}, "34"},
        // Without a code the status that the buffer holds decides.
        OpenCase{"TwoOtherAnswers", kOpened, {Reply("3100"), Reply("3200")}, "done anew"},
        OpenCase{"TwoOtherAnswersThatFail", kOpened, {Reply("3100"), Reply("3205")}, "0"}),
    [](const auto& opening) { return opening.param.name; });

struct ExchangeCase {
  const char* name;
  Reports reports;
  std::string outcome;
  std::vector<const char*> logged;  // how the lines of the error log begin
};

class Exchange : public CardReaderTest, public testing::WithParamInterface<ExchangeCase> {};

TEST_P(Exchange, Ends) {
  ASSERT_EQ(Open(), "done anew");
  const LoggedLines errors;
  door.Script(0x06, GetParam().reports);
  Answer answer{};
  EXPECT_EQ(Described(reader.ReadDn(answer)), GetParam().outcome);
  const auto logged = errors.Get();
  ASSERT_EQ(logged.size(), GetParam().logged.size());
  for (std::size_t line = 0; line < logged.size(); ++line) {
    EXPECT_THAT(logged[line], testing::StartsWith(GetParam().logged[line]));
  }
  EXPECT_EQ(door.ReportsLeft(), 0U);
  const bool lost = GetParam().outcome == "47";
  EXPECT_EQ(reader.DeviceStatus(), lost ? 3U : 1U);
  EXPECT_EQ(reader.VersionCode(), lost ? "" : "0284");
  EXPECT_EQ(reader.AuthorizeCode(), lost ? "" : "A1A2A3A4A5A6");
  EXPECT_EQ(Open(), lost ? "done anew" : "done");
}

const Reports kShort = {ScriptedReader::Report(63, 0x06)};
const std::vector<const char*> kIncomplete = {"writeAndReadData-write:0006000000",
                                              "writeAndReadData-read:"};

INSTANTIATE_TEST_SUITE_P(
    Answers, Exchange,
    testing::Values(
        ExchangeCase{"Right", {Reply("0600")}, "done", {}},
        ExchangeCase{"OtherOnce",
                     {Reply("0500"), Reply("0600")},
                     "done",
                     {"output:00060000", "intput:0500"}},
        ExchangeCase{"OtherTwice",
                     {Reply("0500"), Reply("0700")},
                     "0",
                     {"output:0006", "intput:0500", "output:0006", "intput:0700"}},
        ExchangeCase{"OtherThenNothing",
                     {Reply("0500"), kNothing},
                     "0",
                     {"output:", "intput:", "output:", "intput:"}},
        ExchangeCase{"OtherThenLost", {Reply("0500"), kLost}, "47", {"output:", "intput:"}},
        ExchangeCase{"Nothing", {kNothing}, "30", kIncomplete},
        ExchangeCase{"Short", kShort, "30", kIncomplete},
        ExchangeCase{"Long", {ScriptedReader::Report(65, 0x06)}, "30", kIncomplete},
        ExchangeCase{"Lost", {kLost}, "47", {}}, ExchangeCase{"Status1", {Reply("0601")}, "32", {}},
        ExchangeCase{"Status2", {Reply("0602")}, "33", {}},
        ExchangeCase{"Status7", {Reply("0607")}, "38", {}},
        ExchangeCase{"Status8", {Reply("0608")}, "39", {}},
        ExchangeCase{"Status9", {Reply("0609")}, "31", {}},
        ExchangeCase{"Status255", {Reply("06FF")}, "31", {}},
        ExchangeCase{
            "OtherThenStatus", {Reply("0500"), Reply("0603")}, "34", {"output:", "intput:"}}),
    [](const auto& exchange) { return exchange.param.name; });

TEST_F(CardReaderTest, LosesTheReaderWhenAWriteFails) {
  Open();
  door.writesFail = true;
  Answer answer{};
  EXPECT_EQ(Described(reader.ReadDn(answer)), "47");
  EXPECT_EQ(reader.DeviceStatus(), 3U);
  EXPECT_EQ(reader.VersionCode() + reader.AuthorizeCode(), "");
}

TEST_F(CardReaderTest, CommandsTakeTheirParametersAndTimes) {
  Open();
  Answer answer{};
  Block file;
  const Block key = Bytes("1122334455667788");
  EXPECT_TRUE(reader.ReadDn(answer).Done());
  EXPECT_EQ(HexText(answer).substr(0, 12), "060001020304");
  EXPECT_TRUE(reader.WriteInputKey(key, answer).Done());
  EXPECT_EQ(HexText(answer).substr(0, 12), "070021222324");
  EXPECT_TRUE(reader.ReadCardFile({0x12, 0x0134}, file, Never).Done());
  EXPECT_TRUE(reader.WriteOutputKey(key).Done());
  EXPECT_TRUE(reader.ReadDn(answer).Done());
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
              ElementsAre(1000, 1000, 2000, 2000, 100, 100, 100, 100, 100, 100, 2000, 2000));
}

ScriptedReader::Report Part(std::uint8_t value) { return ScriptedReader::Report(64, value); }

struct StreamCase {
  const char* name;
  Reports reports;
  std::string outcome;
  std::string bytes;  // the values of the parts, and how many of each
};

class FileStream : public CardReaderTest, public testing::WithParamInterface<StreamCase> {};

TEST_P(FileStream, Ends) {
  Open();
  door.Script(0x0B, GetParam().reports);
  Block file;
  EXPECT_EQ(Described(reader.ReadCardFile(kFile11, file, Never)), GetParam().outcome);
  EXPECT_EQ(HexText(door.Written().back()).substr(0, 10), "000B1100D6");
  if (GetParam().outcome == "done") {
    std::string expected;
    for (const char value : GetParam().bytes) {
      const std::size_t count = expected.size() == 360 ? 34 : 60;
      for (std::size_t byte = 0; byte < count; ++byte) expected += std::string("0") + value;
    }
    EXPECT_EQ(HexText(file), expected);
  } else {
    EXPECT_EQ(reader.DeviceStatus(), 3U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Reports, FileStream,
    testing::Values(
        StreamCase{"FourStepsOf60", {Part(1), Part(2), Part(3), Part(4)}, "done", "1234"},
        // A step without a report has what the buffer holds.
        StreamCase{"AStepWithout", {Part(1), kNothing, Part(3), Part(4)}, "done", "1134"},
        StreamCase{"LastStepWithout", {Part(1), Part(2), Part(3)}, "done", "1233"},
        StreamCase{"Lost", {Part(1), kLost}, "47", ""}),
    [](const auto& stream) { return stream.param.name; });

TEST_F(CardReaderTest, AnAbandonedFileLeavesItsReportsToTheNextOpening) {
  Open();
  int steps = 0;
  Block file;
  const auto outcome = reader.ReadCardFile(kFile13, file, [&steps] { return ++steps > 2; });
  EXPECT_EQ(Described(outcome), "abandoned");
  EXPECT_EQ(door.ReportsLeft(), 16U);
  EXPECT_EQ(Open(), "done");
  EXPECT_EQ(door.ReportsLeft(), 0U);
}

struct StaleCase {
  const char* name;
  std::uint8_t command;
  Reports reports;  // before the late one
};

class StaleReport : public CardReaderTest, public testing::WithParamInterface<StaleCase> {};

TEST_P(StaleReport, IsDroppedAtTheNextOpeningAndNoSooner) {
  Open();
  door.Script(GetParam().command, GetParam().reports);
  Answer answer{};
  if (GetParam().command == 0x06) {
    reader.ReadDn(answer);
  } else {
    reader.beep(500);
  }
  door.Pend(Reply("0600 EE"));
  door.Script(0x06, {});
  EXPECT_EQ(Described(reader.ReadDn(answer)), "done");  // no command looks before it asks
  EXPECT_EQ(answer[2], 0xEE);
  door.Pend(Reply("0600 EE"), 300);
  const std::size_t reads = door.Timeouts().size();
  Open();
  EXPECT_EQ(door.ReportsLeft(), 300U - 256U);
  const auto timeouts = door.Timeouts();
  EXPECT_THAT(std::vector<std::uint32_t>(timeouts.begin() + static_cast<std::ptrdiff_t>(reads),
                                         timeouts.end()),
              Each(0U));
  Open();  // once is enough
  EXPECT_EQ(door.ReportsLeft(), 300U - 256U);
}

INSTANTIATE_TEST_SUITE_P(
    After, StaleReport,
    testing::Values(StaleCase{"ATimeout", 0x06, {kNothing}},
                    StaleCase{"AnotherAnswer", 0x06, {Reply("0500"), Reply("0600")}},
                    StaleCase{"TwoOthers", 0x06, {Reply("0500"), Reply("0500")}},
                    StaleCase{"ABeepWithoutAnswer", 0x65, {kNothing}}),
    [](const auto& stale) { return stale.param.name; });

TEST_F(CardReaderTest, NothingIsDroppedWhenAllWentWell) {
  Open();
  Answer answer{};
  reader.ReadDn(answer);
  door.Pend(Reply("0600"));
  Open();
  EXPECT_EQ(door.ReportsLeft(), 1U);
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
    EXPECT_TRUE(reader.beep(milliseconds).Done());
    EXPECT_EQ(door.Written().back()[2], duration) << milliseconds;
  }
  door.Script(0x65, {Reply("0108")});  // nobody looks at the answer
  EXPECT_TRUE(reader.beep(1).Done());
  door.Script(0x65, {kLost});
  EXPECT_EQ(Described(reader.beep(1)), "47");
  EXPECT_EQ(reader.DeviceStatus(), 3U);
}

TEST_F(CardReaderTest, KnowsTheUidOfAnIdentityCard) {
  Open();
  EXPECT_TRUE(reader.getSfzCardUid().Done());
  EXPECT_EQ(reader.CardUidHex(), "E001020304050607");
  EXPECT_EQ(reader.CardKind(), 16U);
  reader.ForgetCardUid();
  EXPECT_EQ(reader.CardUidHex(), "");
  door.Script(0x0C, {Reply("0C05")});
  EXPECT_EQ(Described(reader.getSfzCardUid()), "36");
}

TEST_F(CardReaderTest, KnowsTheUidOfATypeACardUpTo60Bytes) {
  Open();
  for (const int length : {0, 1, 4, 60, 61, 255}) {
    reader.ForgetCardUid();
    ScriptedReader::Report report = Reply("0D00");
    report[2] = 0x44;
    report[3] = static_cast<std::uint8_t>(length);
    door.Script(0x0D, {report});
    const bool valid = length > 0 && length <= 60;
    EXPECT_EQ(Described(reader.ReadTypeACardUid()), valid ? "done" : "0") << length;
    EXPECT_EQ(reader.CardUidHex(),
              valid ? HexText(&report[4], static_cast<std::size_t>(length)) : "");
  }
  EXPECT_EQ(reader.CardKind(), 0x44U);
}

}  // namespace
}  // namespace idcardreader
