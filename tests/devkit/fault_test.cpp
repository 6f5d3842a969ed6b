// The language of scenarios: what is understood, what is refused and with which words.

#include <set>

#include "devkit/devkit_test_support.h"
#include "fault/fault_book.h"
#include "fault/vocabulary.h"

namespace devkit {
namespace {

TEST(WrongFileTest, IsRefusedWithTheAllowedWords) {
  const auto complaint = [](const std::string& json) -> std::string {
    try {
      json.find("type") == std::string::npos ? void(ScenarioOf(json)) : void(CardOf(json));
    } catch (const FileError& error) {
      return error.what();
    }
    return {};
  };
  const std::pair<const char*, const char*> rows[] = {
      {R"({"raeder": {}})", "unknown member \"raeder\" (allowed: description, code,"},
      {R"({"reader": {"faults": [{"at": "dn", "fault": "dropp"}]}})",
       "scenario: reader.faults[0]: unknown word \"dropp\" for \"fault\" (allowed: delay"},
      {R"({"service": {"faults": [{"at": "login", "fault": "short-key"}]}})",
       "\"short-key\" cannot happen at \"login\" (allowed: dn, output-key)"},
      {R"({"reader": {"faults": [{"at": "dn", "fault": "status"}]}})", "needs \"status\""},
      {R"({"reader": {"faults": [{"at": "dn", "fault": "status", "status": 256}]}})",
       "\"status\" must be a whole number from 0 to 255"},
      {R"({"reader": {"faults": [{"at": "dn", "fault": "drop", "ms": 5}]}})",
       "\"drop\" has no \"ms\" (allowed: at, fault, skip, times)"},
      {R"({"reader": {"faults": [{"at": "dn", "fault": "answer", "report": "0G"}]}})",
       "not a hexadecimal digit"},
      {R"({"service": {"faults": [{"at": "dn", "fault": "refuse", "msg": "a\"b"}]}})",
       "must not hold quotes"},
      {"{", "scenario: "},
      {R"({"type": "iden"})", "\"chip\" is missing"},
      {R"({"type": "gat", "fields": {"nation": "x"}, "chip": {"seed": 1}})",
       "has no \"nation\" (allowed: name,"},
      {R"({"type": "iden", "fields": {"name": "a}"}, "chip": {"seed": 1}})", "braces"},
      {R"({"type": "iden", "photo": {"elements": 2331}, "chip": {"seed": 1}})", "from 0 to 2330"},
      {R"({"type": "iden", "chip": {"seed": 1, "dn": "00"}})", "wrong length"},
  };
  for (const auto& [json, part] : rows) {
    EXPECT_NE(complaint(json).find(part), std::string::npos) << json << ": " << complaint(json);
  }
}

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

TEST(FaultBookTest, SkipAndTimesCountOccasionsAndFaultsFollowEachOther) {
  FaultBook book(ScenarioOf(R"({"reader": {"faults": [
      {"at": "dn", "fault": "drop", "skip": 1, "times": 2},
      {"at": "uid", "fault": "drop", "times": 1},
      {"at": "uid", "fault": "status", "status": 4}]}})")
                     .reader);
  std::string spoiled;
  for (int i = 0; i < 5; ++i) spoiled += book.Next("dn") != nullptr ? 'x' : '-';
  EXPECT_EQ(spoiled, "-xx--");
  EXPECT_EQ(book.Next("uid")->kind, FaultKind::drop);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(book.Next("uid")->kind, FaultKind::status);
}

}  // namespace
}  // namespace devkit
