#include "config/data_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace idcardreader {
namespace {

using testing::ElementsAre;

TEST(DataFiles, AFieldGivesItsPlainTextBack) {
  // By hand: 20 is the start; Q^D0 = 81, 81-20 = 61 'a'; J^44 = 0E, 0E-D0-1 = 3D '=';
  // X^2D = 75, 75-44 = 31 '1'.
  EXPECT_EQ(DescrambleField("20D0442D", kDataFileKey), "a=1");
  EXPECT_EQ(DescrambleField("20d0442d5", kDataFileKey), "a=1");
  EXPECT_EQ(DescrambleField("0051", kDataFileKey), "\xFF");  // the mixed byte equals the one before
  EXPECT_EQ(DescrambleField("10E357EA", ""), "x=1");         // without a key the default one
  for (const char* nothing : {"20", "2", ""}) EXPECT_EQ(DescrambleField(nothing, kDataFileKey), "");
}

TEST(DataFiles, LinesAreCutAtTheirEndsAndTabs) {
  const std::string appId = "label\t5AEA11D9172C2416150C6EE84628080D04";  // appid=0123456789
  const std::string host = "label\t01383F280263DC52D24CD747";             // h=1.2.3.4:5
  // id=a=b keeps what follows the first "="; the last line has no end.
  EXPECT_THAT(DataFileValues(appId + "\r\nlabel\t0038D64CF9608F\n" + host),
              ElementsAre("0123456789", "a=b", "1.2.3.4:5"));
  EXPECT_THAT(DataFileValues(host + "\r00\n"), ElementsAre("1.2.3.4:5"));
  // noequals, e=
  EXPECT_THAT(DataFileValues("\n\r\nno tab\n\t\nx\t5\nx\t0926DF1DDA0725D315\nx\t03393C\n"),
              ElementsAre());
}

}  // namespace
}  // namespace idcardreader
