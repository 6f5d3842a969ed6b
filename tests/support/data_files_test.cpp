#include "support/data_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(FieldScrambling, GivesThePlainTextBack) {
  // By hand: 20 is the start; Q^D0 = 81, 81-20 = 61 'a'; J^44 = 0E, 0E-D0-1 = 3D '=';
  // X^2D = 75, 75-44 = 31 '1'.
  EXPECT_EQ(DescrambleField("20D0442D", kDataFileKey), "a=1");
  EXPECT_EQ(DescrambleField("20d0442d5", kDataFileKey), "a=1");
  // Longer than the key.
  EXPECT_EQ(DescrambleField("5AEA11D9172C2416150C6EE84628080D04", kDataFileKey),
            "appid=0123456789");
  EXPECT_EQ(DescrambleField("10E357EA", ""), "x=1");  // without a key the default one
  EXPECT_EQ(DescrambleField("006B", ""), "\xFF");     // the mixed byte equals the one before
  for (const char* nothing : {"20", "2", ""}) EXPECT_EQ(DescrambleField(nothing, "k"), "");
}

constexpr char kAppIdField[] = "5AEA11D9172C2416150C6EE84628080D04";  // appid=0123456789
constexpr char kNoEqualsField[] = "0926DF1DDA0725D315";               // noequals
constexpr char kHost1Field[] = "FF39E20ED643FB30C1A45B99A244E31DC0A894958FE7";
constexpr char kHost2Field[] = "01383F280263DC52D24CD747";          // h=1.2.3.4:5
constexpr char kHost3Field[] = "023B32FE22C6B95D87A340FA3FF07CF9";  // h=two.example:8

std::string Line(std::string_view field, std::string_view end = "\n") {
  return std::string("label\t").append(field).append(end);
}

TEST(DataFileLines, AreCutAtTheirEndsAndTabs) {
  const auto values = [](const std::string& text) { return DataFileValues(text, kDataFileKey); };
  // id=a=b keeps what follows the first "="; the last line has no end.
  EXPECT_THAT(values(Line(kAppIdField, "\r\n") + Line("0038D64CF9608F") + Line(kHost2Field, "")),
              ElementsAre("0123456789", "a=b", "1.2.3.4:5"));
  EXPECT_THAT(values(Line(kHost2Field, "\r00\n")), ElementsAre("1.2.3.4:5"));
  EXPECT_THAT(values("\n\r\nno tab\n\t\nx\t5\n" + Line(kNoEqualsField) + Line("03393C")),  // e=
              ElementsAre());
}

// Loads both files of this content; the results and messages of both have to be alike.
void ExpectLoaded(const char* content, DataFiles::Result result,
                  const std::vector<std::string>& messages) {
  const TemporaryFolder folder;
  if (content != nullptr) folder.Write("appid.dat", content);
  if (content != nullptr) folder.Write("hostport.dat", content);
  const LoggedLines errors;
  const LoggedLines dataFileErrors(DataFileLog(), "LogData");
  DataFiles files(folder.path);
  EXPECT_EQ(files.LoadAppId(), result);
  EXPECT_EQ(files.LoadHostPort(), result);
  EXPECT_EQ(errors.Get(), messages);
  EXPECT_EQ(dataFileErrors.Get(), messages);
  EXPECT_EQ(files.AppId(), result == DataFiles::kLoaded ? "0123456789" : "");
}

TEST(DataFiles, TellTheirResultsAndLogFailuresTwice) {
  testing::internal::CaptureStdout();
  ExpectLoaded(Line(kAppIdField, "\r\n").c_str(), DataFiles::Result{9}, {});
  EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith("version:V1.0"));
  // In GBK, from another converter: could not open, and holds nothing.
  ExpectLoaded(nullptr, DataFiles::Result{1},
               {Text("B4F2BFAA6170706964CEC4BCFECAA7B0DC"),
                Text("B4F2BFAA686F7374706F7274CEC4BCFECAA7B0DC")});
  for (const std::string& content :
       {std::string(), std::string(kAppIdField), Line(kNoEqualsField)}) {
    ExpectLoaded(content.c_str(), DataFiles::Result{5},
                 {Text("6170706964CEC4BCFECAFDBEDDCEAABFD5"),
                  Text("686F7374706F7274CEC4BCFECAFDBEDDCEAABFD5")});
  }
}

TEST(DataFiles, EachIsReadOnceWhateverCameOfIt) {
  const TemporaryFolder folder;
  DataFiles missing(folder.path);
  EXPECT_EQ(missing.LoadAppId(), DataFiles::kCannotOpen);
  folder.Write("appid.dat", Line(kAppIdField));
  folder.Write("hostport.dat", Line(kHost1Field));
  EXPECT_EQ(missing.LoadAppId(), DataFiles::kCannotOpen);
  EXPECT_EQ(missing.LoadHostPort(), DataFiles::kLoaded);  // the other file's state is its own
  folder.Write("hostport.dat", "");
  const LoggedLines errors;
  EXPECT_EQ(missing.LoadHostPort(), DataFiles::kLoaded);
  EXPECT_TRUE(errors.Get().empty());
  DataFiles empty(folder.path);
  EXPECT_EQ(empty.LoadHostPort(), DataFiles::kNoValue);
  folder.Write("hostport.dat", Line(kHost1Field));
  EXPECT_EQ(empty.LoadHostPort(), DataFiles::kNoValue);
}

std::vector<std::string> FourEndpoints(DataFiles& files) {
  std::vector<std::string> endpoints;
  while (endpoints.size() < 4) endpoints.push_back(files.NextEndpoint());
  return endpoints;
}

TEST(DataFiles, EndpointsRotate) {
  const TemporaryFolder folder;
  folder.Write("hostport.dat", Line(kHost1Field, "\r\n") + Line(kHost2Field) + Line(kHost3Field));
  DataFiles files(folder.path);
  const auto defaults = FourEndpoints(files);  // which name nobody
  EXPECT_THAT(defaults, testing::Each(testing::EndsWith(".invalid,9999")));
  EXPECT_NE(defaults[0], defaults[1]);
  EXPECT_EQ(defaults[0], defaults[2]);
  EXPECT_EQ(files.LoadHostPort(), DataFiles::kLoaded);
  EXPECT_EQ(files.EndpointCount(), 3U);
  EXPECT_THAT(FourEndpoints(files),
              ElementsAre("svc.example:7000", "1.2.3.4:5", "two.example:8", "svc.example:7000"));
  EXPECT_EQ(files.EndpointIndex(), 1U);
}

}  // namespace
}  // namespace idcardreader
