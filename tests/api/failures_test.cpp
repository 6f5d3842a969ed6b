// What goes wrong ends the read in time, is told by its text, leaves nobody's data behind and does
// not spoil the next read.

#include <algorithm>

#include "base/json_file.h"
#include "host/host_test.h"

namespace hosttest {
namespace {

using nlohmann::json;

class FailureTest : public HostTest {
 protected:
  void ExpectFailure(int code) {
    EXPECT_EQ(Read().result, 0);
    ExpectCode(code);
    ExpectNoRecord(*library);
  }

  void ExpectEndOf(const json& scenario) {
    SCOPED_TRACE(scenario.dump());
    const auto prepare = [&] {
      library->CloseComm();
      desk.Put(kAnyCard);
      desk.Misbehave(scenario.value("reader", json::object()));
      ServiceMisbehaves(scenario.value("service", json::object()));
      for (int left = scenario.value("goodReadsBefore", 0); left > 0; --left) {
        EXPECT_EQ(Read().result, 1) << LastError();
      }
    };
    const ReadResult read = ReadInTime(prepare, milliseconds(scenario.value("waits", 0)) + kSlack);
    EXPECT_EQ(read.result, 0);
    const std::string text = library->readCardErrorInfo(scenario.at("code"));
    EXPECT_TRUE(read.lastError.starts_with(text)) << LastError();
    // What failures of the reader put into the error log is their text once more.
    if (!scenario.contains("service")) {
      EXPECT_EQ(read.lastError, text + text);
    }
    ExpectNoRecord(*library);
    desk.Behave();
    ServiceBehaves();
    ExpectGoodRead("gat");
  }
};

// What an integrator plays to his application is what this library does. In four parts, which run
// beside each other.
class ScenarioTest : public FailureTest, public testing::WithParamInterface<std::size_t> {};

constexpr std::size_t kParts = 4;

TEST_P(ScenarioTest, EndsInTimeWithItsTextAndSpoilsNothing) {
  std::vector<std::filesystem::path> files;
  const std::filesystem::path scenarios = SourceFolder() / "devkit" / "scenarios";
  for (const auto& entry : std::filesystem::directory_iterator(scenarios)) {
    files.push_back(entry.path());
  }
  EXPECT_GT(files.size(), 40u);
  std::sort(files.begin(), files.end());
  for (std::size_t i = GetParam(); i < files.size(); i += kParts) {
    ExpectEndOf(devkit::ReadJsonFile(files[i]));
  }
}

INSTANTIATE_TEST_SUITE_P(Devkit, ScenarioTest, testing::Range(std::size_t{0}, kParts));

// What no integrator needs to play.
TEST_F(FailureTest, WhatTheReaderSaidBeforeIsNoAnswer) {
  // Two wrong echoes whose status byte is no success: nobody has given a code.
  const json echoes = FaultAt("version", "stale", {{"report", "FF01"}, {"count", 2}});
  ExpectEndOf({{"code", 30}, {"reader", echoes}});
  // The first report of another card is taken for the answer; the others are still there when the
  // next card is read.
  const std::string answer = "0600" + devkit::ToHex(CardOf("yjznew").dn);
  const json foreign = FaultAt("dn", "stale", {{"report", answer}, {"count", 3}});
  ExpectEndOf({{"code", 30}, {"reader", foreign}});
}

TEST_F(FailureTest, ReaderPluggedOutBetweenReadsAndInAgain) {
  ExpectGoodRead(kAnyCard);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
  desk.Unplug();
  ExpectFailure(40);
  EXPECT_EQ(library->readCardGetDeviceStatus(), 3);
  EXPECT_STREQ(library->readCardGetVersionCode(), "");
  ExpectFailure(27);
  desk.Plug();
  ExpectGoodRead("gat");
  EXPECT_EQ(library->readCardGetDeviceStatus(), 1);
}

TEST_F(FailureTest, ExpiredTokenFailsOneReadAndTheNextLogsInAgain) {
  ExpectGoodRead(kAnyCard);
  service->ExpireAllTokens();
  ExpectFailure(44);
  ExpectGoodRead("gat");
}

TEST_F(FailureTest, UnknownCardTypeFailsWithoutACode) {
  desk.Put(kAnyCard);
  ServiceMisbehaves(FaultAt("content", "unknown-type"));
  EXPECT_EQ(Read().result, 0);
  EXPECT_EQ(LastError(), "parse type fail");
  ExpectNoRecord(*library);
  ServiceBehaves();
  ExpectGoodRead(kAnyCard);
}

// What spoils the line for a moment without spoiling the read.
TEST_F(FailureTest, NuisancesDoNotSpoilTheRead) {
  const struct {
    json reader;
    json service;
  } rows[] = {
      {FaultAt("open", "stale", {{"count", 1}}), json::object()},
      {FaultAt("dn", "stale", {{"count", 4}, {"times", 1}}), json::object()},
      {json::object(), FaultAt("content", "acknowledge-first")},
      {json::object(), FaultAt("sector-21", "hang-up")},
      {json::object(), FaultAt("content", "hang-up")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reader.dump() + row.service.dump());
    library->CloseComm();
    desk.Misbehave(row.reader);
    ServiceMisbehaves(row.service);
    ExpectGoodRead(kAnyCard);
  }
}

// The final answer has two seconds; a host that has named its reader's kind waits three.
TEST_F(FailureTest, TheFinalAnswerHasThreeSecondsOnceTheKindOfReaderIsSet) {
  EXPECT_EQ(library->readCardSetDeviceType(0), 1);
  ServiceMisbehaves(
      {{"latency",
        {{"sector-11", 600}, {"sector-12", 600}, {"sector-13", 600}, {"sector-21", 600}}}});
  ExpectGoodRead(kAnyCard);
}

}  // namespace
}  // namespace hosttest
