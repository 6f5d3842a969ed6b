// The language of scenarios: its words stand in the manual, and how often a fault comes.

#include "devkit/devkit_test_support.h"
#include "fault/fault_book.h"
#include "fault/vocabulary.h"

namespace devkit {
namespace {

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
