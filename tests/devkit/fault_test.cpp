// The language of scenarios: what is understood, what is refused and with which words.

#include <set>

#include "devkit/devkit_test_support.h"
#include "fault/fault_book.h"
#include "fault/vocabulary.h"

namespace devkit {
namespace {

std::string ComplaintAbout(const std::string& json) {
  try {
    ScenarioOf(json);
  } catch (const FileError& error) {
    return error.what();
  }
  return {};
}

struct Wrong {
  const char* json;
  const char* complaint;  // a part of it
};

class WrongScenarioTest : public testing::TestWithParam<Wrong> {};

TEST_P(WrongScenarioTest, IsRefusedWithTheAllowedWords) {
  EXPECT_NE(ComplaintAbout(GetParam().json).find(GetParam().complaint), std::string::npos)
      << ComplaintAbout(GetParam().json);
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongScenarioTest,
    testing::Values(
        Wrong{R"({"raeder": {}})", "unknown member \"raeder\" (allowed: description, code,"},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "dropp"}]}})",
              "scenario: reader.faults[0]: unknown word \"dropp\" for \"fault\" (allowed: delay"},
        Wrong{R"({"reader": {"faults": [{"at": "content", "fault": "drop"}]}})",
              "unknown word \"content\" for \"at\" (allowed: search-on"},
        Wrong{R"({"service": {"faults": [{"at": "login", "fault": "short-key"}]}})",
              "\"short-key\" cannot happen at \"login\" (allowed: dn, output-key)"},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "status"}]}})", "needs \"status\""},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "status", "status": 256}]}})",
              "\"status\" must be a whole number from 0 to 255"},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "drop", "ms": 5}]}})",
              "\"drop\" has no \"ms\" (allowed: at, fault, skip, times)"},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "drop", "times": -1}]}})",
              "\"times\" must be"},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "answer", "report": "0G"}]}})",
              "not a hexadecimal digit"},
        Wrong{R"({"reader": {"faults": [{"at": "dn", "fault": "io-error", "on": "open"}]}})",
              "(allowed: write, read)"},
        Wrong{R"({"service": {"latency": {"exchnage": 3}}})",
              "unknown word \"exchnage\" (allowed: exchange"},
        Wrong{R"({"service": {"faults": [{"at": "dn", "fault": "refuse", "msg": "a\"b"}]}})",
              "must not hold quotes"},
        Wrong{"{", "scenario: "}));

// Every code that needs no more than a reader and a service that misbehave.
TEST(ScenarioSetTest, HasOneForEveryCodeAndNamesIt) {
  std::set<int> codes;
  for (const auto& entry :
       std::filesystem::directory_iterator(SourceFolder() / "devkit" / "scenarios")) {
    const Scenario scenario = ParseScenario(ReadJsonFile(entry.path()), PathText(entry.path()));
    ASSERT_TRUE(scenario.code) << entry.path();
    EXPECT_FALSE(scenario.description.empty()) << entry.path();
    EXPECT_EQ(std::stoi(PathText(entry.path().filename())), *scenario.code);
    codes.insert(*scenario.code);
  }
  EXPECT_EQ(codes, (std::set<int>{7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                  20, 22, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37,
                                  38, 39, 40, 44, 45, 46, 47, 49, 50, 51, 55}));
}

TEST(VocabularyTest, EveryKindCanHappenAtPlacesThatThereAre) {
  for (const Side side : {Side::reader, Side::service}) {
    for (const KindRule& rule : Kinds(side)) {
      EXPECT_FALSE(rule.places.empty()) << rule.name;
      for (const std::string_view place : rule.places) {
        EXPECT_NE(std::count(Places(side).begin(), Places(side).end(), place), 0)
            << rule.name << " at " << place;
      }
    }
  }
}

TEST(VocabularyTest, EveryWordIsDocumented) {
  const std::string text = ReadTextFile(SourceFolder() / "devkit" / "README.md").value_or("");
  for (const Side side : {Side::reader, Side::service}) {
    for (const std::string_view place : Places(side)) {
      EXPECT_NE(text.find("`" + std::string(place) + "`"), std::string::npos) << place;
    }
    for (const KindRule& rule : Kinds(side)) {
      EXPECT_NE(text.find("`" + std::string(rule.name) + "`"), std::string::npos) << rule.name;
      for (const ParameterRule& parameter : rule.parameters) {
        EXPECT_NE(text.find("`" + std::string(parameter.name) + "`"), std::string::npos)
            << rule.name << ": " << parameter.name;
      }
    }
  }
}

TEST(FaultBookTest, SkipAndTimesCountOccasions) {
  FaultBook book(ScenarioOf(R"({"reader": {"faults": [
      {"at": "dn", "fault": "drop", "skip": 1, "times": 2}]}})")
                     .reader);
  std::string spoiled;
  for (int i = 0; i < 5; ++i) spoiled += book.Next("dn") != nullptr ? 'x' : '-';
  EXPECT_EQ(spoiled, "-xx--");
  EXPECT_EQ(book.Next("uid"), nullptr);
}

TEST(FaultBookTest, FaultsOfOnePlaceFollowEachOther) {
  FaultBook book(ScenarioOf(R"({"reader": {"faults": [
      {"at": "dn", "fault": "drop", "times": 1},
      {"at": "dn", "fault": "status", "status": 4}]}})")
                     .reader);
  EXPECT_EQ(book.Next("dn")->kind, FaultKind::drop);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(book.Next("dn")->kind, FaultKind::status);
}

TEST(FaultBookTest, DefaultsAreFilledIn) {
  const Scenario scenario = ScenarioOf(R"({"service": {"latency": {"exchange": 1.5},
      "faults": [{"at": "content", "fault": "split"}]}})");
  EXPECT_EQ(scenario.service.faults[0].Number("parts"), 2);
  EXPECT_EQ(scenario.service.faults[0].Time("gap"), std::chrono::milliseconds(50));
  EXPECT_EQ(FaultBook(scenario.service).Latency("exchange"), std::chrono::microseconds(1500));
}

}  // namespace
}  // namespace devkit
