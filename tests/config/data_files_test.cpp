#include "config/data_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"
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
constexpr char kHost2Field[] = "01383F280263DC52D24CD747";            // h=1.2.3.4:5

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

}  // namespace
}  // namespace idcardreader
