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
};

std::vector<std::string> ScenarioNames() {
  std::vector<std::string> names;
  for (const auto& entry :
       std::filesystem::directory_iterator(SourceFolder() / "devkit" / "scenarios")) {
    names.push_back(entry.path().stem().string());
  }
  return names;
}

// What an integrator plays to his application is what this library does. In four parts, which run
// beside each other.
class ScenarioTest : public FailureTest, public testing::WithParamInterface<std::size_t> {};

constexpr std::size_t kParts = 4;

TEST_P(ScenarioTest, EndsInTimeWithItsTextAndSpoilsNothing) {
  std::vector<std::string> names = ScenarioNames();
  EXPECT_GT(names.size(), 40u);
  std::sort(names.begin(), names.end());
  for (std::size_t i = GetParam(); i < names.size(); i += kParts) {
    SCOPED_TRACE(names[i]);
    const json scenario =
        devkit::ReadJsonFile(SourceFolder() / "devkit" / "scenarios" / (names[i] + ".json"));
    const int code = scenario.at("code");
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
    const std::string text = library->readCardErrorInfo(code);
    EXPECT_TRUE(read.lastError.starts_with(text)) << "wanted " << code << ", got " << LastError();
    // What failures of the reader put into the error log is their text once more.
    if (!scenario.contains("service")) {
      EXPECT_EQ(read.lastError, text + text);
    }
    ExpectNoRecord(*library);
    desk.Behave();
    ServiceBehaves();
    ExpectGoodRead("gat");
  }
}

INSTANTIATE_TEST_SUITE_P(Devkit, ScenarioTest, testing::Range(std::size_t{0}, kParts));

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

TEST_F(FailureTest, ServiceDownIsCode29AndUpAgainNeedsNoRestart) {
  StopService();
  desk.Put(kAnyCard);
  ExpectFailure(29);
  StartService();
  ExpectGoodRead(kAnyCard);
}

TEST_F(FailureTest, WithoutHostPortFileNoServiceIsReached) {
  folder.RemoveFile("hostport.dat");
  desk.Put(kAnyCard);
  ExpectFailure(29);
  EXPECT_EQ(service->ConnectionsSoFar(), 0);
  // Data files are read again only by a new engine.
  WriteDataFiles();
  EXPECT_EQ(Read().result, 0);
  library->CloseComm();
  ExpectGoodRead(kAnyCard);
}

TEST_F(FailureTest, ExpiredTokenFailsOneReadAndTheNextLogsInAgain) {
  ExpectGoodRead(kAnyCard);
  service->ExpireAllTokens();
  desk.Put(kAnyCard);
  ExpectFailure(44);
  service->ForgetReceived();
  ExpectGoodRead(kAnyCard);
  ASSERT_FALSE(service->Received().empty());
  EXPECT_EQ(service->Received().front().exchange, "login");
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

// Two wrong echoes whose status byte is no success: nobody has given a code.
TEST_F(FailureTest, AStartThatFailsWithoutACodeIsCode30) {
  desk.Put(kAnyCard);
  desk.Misbehave(FaultAt("version", "stale", {{"report", "FF01"}, {"count", 2}}));
  ExpectFailure(30);
  desk.Behave();
  ExpectGoodRead("gat");
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
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reader.dump() + row.service.dump());
    library->CloseComm();
    desk.Misbehave(row.reader);
    ServiceMisbehaves(row.service);
    ExpectGoodRead(kAnyCard);
  }
}

// Reports of one card that are still there when the next is read must not be taken for its own.
TEST_F(FailureTest, NoAnswerOfTheCardBeforeIsTakenForTheNextOnes) {
  // The first of them is taken for the answer; what the reader has said besides stays.
  const std::string answer = "0600" + devkit::ToHex(CardOf("yjznew").dn);
  desk.Put(kAnyCard);
  desk.Misbehave(FaultAt("dn", "stale", {{"report", answer}, {"count", 3}}));
  EXPECT_EQ(Read().result, 0);
  desk.Behave();
  ExpectGoodRead("gat");
}

// The final answer has two seconds; a host that has named its reader's kind waits three.
TEST_F(FailureTest, TheFinalAnswerHasThreeSecondsOnceTheKindOfReaderIsSet) {
  const json slow = {
      {"latency",
       {{"sector-11", 600}, {"sector-12", 600}, {"sector-13", 600}, {"sector-21", 600}}}};
  desk.Put(kAnyCard);
  ServiceMisbehaves(slow);
  ExpectFailure(46);
  ServiceBehaves();
  EXPECT_EQ(library->readCardSetDeviceType(0), 1);
  ExpectGoodRead("gat");
  ServiceMisbehaves(slow);
  ExpectGoodRead(kAnyCard);
}

}  // namespace
}  // namespace hosttest
