#include "support/data_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/data_file_lines.h"
#include "support/field_scrambling.h"
#include "support/logged_lines.h"
#include "support/temporary_folder.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;

struct ScrambledText {
  const char* hex;
  std::string_view key;
  std::string plain;
};

TEST(FieldScrambling, GivesThePlainTextBack) {
  const ScrambledText kCases[] = {
      // By hand: 20 is the start; Q^D0 = 81, 81-20 = 61 'a'; J^44 = 0E, 0E-D0-1 = 3D '=';
      // X^2D = 75, 75-44 = 31 '1'.
      {"20D0442D", kDataFileKey, "a=1"},
      {"20d0442d", kDataFileKey, "a=1"},
      {"5AEA11D9172C2416150C6EE84628080D04", kDataFileKey, "appid=0123456789"},  // key used twice
      {"FF39E20ED643FB30C1A45B99A244E31DC0A894958FE7", kDataFileKey, "host=svc.example:7000"},
      {"10E357EA", "", "x=1"},  // without a key the default one
      {"10E357EA", kDefaultFieldKey, "x=1"},
      {"006B", "", "\xFF"},  // the mixed byte equals the previous one
      {"20D0442", kDataFileKey, "a="},
      {"20", kDataFileKey, ""},
      {"2", kDataFileKey, ""},
      {"", kDataFileKey, ""},
  };
  for (const ScrambledText& row : kCases) {
    EXPECT_EQ(DescrambleField(row.hex, row.key), row.plain) << row.hex;
  }
}

constexpr char kAppIdField[] = "5AEA11D9172C2416150C6EE84628080D04";  // appid=0123456789
constexpr char kEqualsField[] = "0038D64CF9608F";                     // id=a=b
constexpr char kNoEqualsField[] = "0926DF1DDA0725D315";               // noequals
constexpr char kNoValueField[] = "03393C";                            // e=
constexpr char kHost1Field[] = "FF39E20ED643FB30C1A45B99A244E31DC0A894958FE7";
constexpr char kHost2Field[] = "01383F280263DC52D24CD747";          // h=1.2.3.4:5
constexpr char kHost3Field[] = "023B32FE22C6B95D87A340FA3FF07CF9";  // h=two.example:8

std::string Line(std::string_view field, std::string_view end = "\n") {
  return std::string("label\t").append(field).append(end);
}

TEST(DataFileLines, AreCutAtTheirEndsAndTabs) {
  EXPECT_THAT(DataFileValues(Line(kAppIdField, "\r\n") + Line(kEqualsField) + Line(kHost2Field, ""),
                             kDataFileKey),
              ElementsAre("0123456789", "a=b", "1.2.3.4:5"));
  EXPECT_THAT(DataFileValues(std::string("\n\r\nno tab here\n\t\nlabel\t5\n") +
                                 Line(kNoEqualsField) + Line(kNoValueField) + "\t" + kAppIdField,
                             kDataFileKey),
              ElementsAre("0123456789"));
  EXPECT_TRUE(DataFileValues("", kDataFileKey).empty());
}

struct LoadCase {
  const char* name;
  const char* content;  // null: there is no file
  DataFiles::Result result;
};

const std::string kNoTab = kAppIdField;
const std::string kNoEquals = Line(kNoEqualsField);
const std::string kGood = Line(kAppIdField, "\r\n");

class LoadingADataFile : public testing::TestWithParam<LoadCase> {};

// GBK, from another converter: could not open, and holds nothing.
constexpr char kAppIdNotOpened[] = "B4F2BFAA6170706964CEC4BCFECAA7B0DC";
constexpr char kAppIdEmpty[] = "6170706964CEC4BCFECAFDBEDDCEAABFD5";
constexpr char kHostPortNotOpened[] = "B4F2BFAA686F7374706F7274CEC4BCFECAA7B0DC";
constexpr char kHostPortEmpty[] = "686F7374706F7274CEC4BCFECAFDBEDDCEAABFD5";

TEST_P(LoadingADataFile, TellsItsResultAndLogsItTwice) {
  const TemporaryFolder folder;
  if (GetParam().content != nullptr) {
    folder.Write("appid.dat", GetParam().content);
    folder.Write("hostport.dat", GetParam().content);
  }
  const LoggedLines errors;
  const LoggedLines dataFileErrors(DataFileLog(), "LogData");
  testing::internal::CaptureStdout();
  DataFiles files(folder.path);
  EXPECT_EQ(files.LoadAppId(), GetParam().result);
  EXPECT_EQ(files.LoadHostPort(), GetParam().result);
  std::string printed = testing::internal::GetCapturedStdout();
  std::erase(printed, '\r');
  EXPECT_EQ(printed, "version:V1.0\nversion:V1.0\n");

  std::vector<std::string> expected;
  if (GetParam().result == DataFiles::kCannotOpen) {
    expected = {Text(kAppIdNotOpened), Text(kHostPortNotOpened)};
  } else if (GetParam().result == DataFiles::kNoValue) {
    expected = {Text(kAppIdEmpty), Text(kHostPortEmpty)};
  }
  EXPECT_EQ(errors.Get(), expected);
  EXPECT_EQ(dataFileErrors.Get(), expected);
  EXPECT_EQ(files.AppId(), GetParam().result == DataFiles::kLoaded ? "0123456789" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Files, LoadingADataFile,
    testing::Values(LoadCase{"Missing", nullptr, DataFiles::kCannotOpen},
                    LoadCase{"Empty", "", DataFiles::kNoValue},
                    LoadCase{"WithoutATab", kNoTab.c_str(), DataFiles::kNoValue},
                    LoadCase{"WithoutEquals", kNoEquals.c_str(), DataFiles::kNoValue},
                    LoadCase{"Good", kGood.c_str(), DataFiles::kLoaded}),
    [](const auto& load) { return load.param.name; });

TEST(DataFiles, ResultsHaveTheNumbersThatHostsSee) {
  EXPECT_EQ(static_cast<int>(DataFiles::kLoaded), 9);
  EXPECT_EQ(static_cast<int>(DataFiles::kNoValue), 5);
  EXPECT_EQ(static_cast<int>(DataFiles::kCannotOpen), 1);
}

TEST(DataFiles, EachIsReadOnceWhateverCameOfIt) {
  const TemporaryFolder folder;
  DataFiles files(folder.path);
  EXPECT_EQ(files.LoadAppId(), DataFiles::kCannotOpen);
  folder.Write("appid.dat", kGood);
  folder.Write("hostport.dat", Line(kHost1Field));
  EXPECT_EQ(files.LoadAppId(), DataFiles::kCannotOpen);
  EXPECT_EQ(files.AppId(), "");
  EXPECT_EQ(files.LoadHostPort(), DataFiles::kLoaded);  // the other file's state is its own
  folder.Write("hostport.dat", "");
  const LoggedLines errors;
  EXPECT_EQ(files.LoadHostPort(), DataFiles::kLoaded);
  EXPECT_TRUE(errors.Get().empty());
}

std::vector<std::string> FiveEndpoints(DataFiles& files) {
  std::vector<std::string> endpoints(5);
  std::generate(endpoints.begin(), endpoints.end(), [&files] { return files.NextEndpoint(); });
  return endpoints;
}

TEST(DataFiles, EndpointsRotate) {
  const TemporaryFolder folder;
  folder.Write("hostport.dat", Line(kHost1Field, "\r\n") + Line(kHost2Field) + Line(kHost3Field));
  DataFiles files(folder.path);
  EXPECT_EQ(files.LoadHostPort(), DataFiles::kLoaded);
  EXPECT_EQ(files.EndpointCount(), 3U);
  EXPECT_EQ(files.EndpointIndex(), 0U);
  EXPECT_THAT(FiveEndpoints(files), ElementsAre("svc.example:7000", "1.2.3.4:5", "two.example:8",
                                                "svc.example:7000", "1.2.3.4:5"));
  EXPECT_EQ(files.EndpointIndex(), 2U);
}

TEST(DataFiles, WithoutAFileTheDefaultsNameNobody) {
  const TemporaryFolder folder;
  folder.Write("hostport.dat", kNoEquals);
  DataFiles files(folder.path);
  EXPECT_EQ(files.LoadHostPort(), DataFiles::kNoValue);
  EXPECT_EQ(files.EndpointCount(), 2U);
  const auto endpoints = FiveEndpoints(files);
  EXPECT_THAT(endpoints[0], testing::EndsWith(".invalid,9999"));
  EXPECT_THAT(endpoints[1], testing::EndsWith(".invalid,9999"));
  EXPECT_NE(endpoints[0], endpoints[1]);
  EXPECT_EQ(endpoints[0], endpoints[2]);
}

}  // namespace
}  // namespace idcardreader
