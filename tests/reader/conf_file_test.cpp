#include "reader/conf_file.h"

#include <gtest/gtest.h>

#include <string>

#include "reader/reader_settings.h"

namespace idcardreader {
namespace {

struct ConfCase {
  const char* name;
  std::string file;
  std::string value;  // of the key "k"; "none" when there is none
};

class ConfFileValue : public testing::TestWithParam<ConfCase> {};

TEST_P(ConfFileValue, IsFound) {
  EXPECT_EQ(ConfFile::FromText(GetParam().file).Text("k", "none"), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ConfFileValue,
    testing::Values(
        ConfCase{"InTheOnlyLine", "k: v\n", "v"}, ConfCase{"WithoutALineEnd", "k: v", "v"},
        ConfCase{"FirstOfTwoIsPassedOver", "k: v\nother: x\n", "none"},
        ConfCase{"SecondOfTwo", "first: x\nk: v\n", "v"},
        ConfCase{"FirstBehindAComment", "# text\nk: v\nother: x\n", "v"},
        ConfCase{"FirstBehindASemicolonComment", ";\nk: v\nother: x\n", "v"},
        ConfCase{"ACommentBehindTheFirstDoesNotHelp", "k: v\n# text\nother: x\n", "none"},
        ConfCase{"EmptyLinesAreNoComments", "\n\r\nk: v\nother: x\n", "none"},
        ConfCase{"OnlyLineAmongComments", "# a\n\nk: v\n;b\n", "v"},
        ConfCase{"FirstMatchWins", "x: y\nk: v\nk: w\n", "v"},
        ConfCase{"CrLf", "x: y\r\nk: v\r\n", "v"},
        ConfCase{"CutAtTheFirstCr", "x: y\nk: v\rw\n", "v"}, ConfCase{"Empty", "x: y\nk: \n", ""},
        ConfCase{"WithoutBlank", "x: y\nk:v\n", "none"},
        ConfCase{"BlankBefore", "x: y\n k: v\n", "none"},
        ConfCase{"CaseCounts", "x: y\nK: v\n", "none"},
        ConfCase{"ColonsInTheValue", "x: y\nk: a: b:c \n", "a: b:c "},
        // The buffer of a line takes 1,023 bytes; what is left over is a line of its own.
        ConfCase{"BehindALongLine", std::string(1023, 'x') + "k: v\n", "v"},
        ConfCase{"InALineThatIsNotTooLong", std::string(1022, 'x') + "k: v\n", "none"},
        ConfCase{"LongValue", "x: y\nk: " + std::string(2000, 'v'), std::string(1020, 'v')},
        ConfCase{"NoFile", "", "none"}),
    [](const auto& conf) { return conf.param.name; });

TEST(ReaderSettings, TakeSwitchesAndNumbersFromTheFile) {
  ReaderSettings settings;
  settings.ApplyConfFile(ConfFile::FromText(
      "# comment\ncanLog: true\ncanLogDetail: True\ncanRecordDB: true \nvid: 1234\npid: x9\n"
      "comnum: -1\ncomport: 115200abc\ncomname: /dev/ttyUSB0\n"));
  EXPECT_TRUE(settings.canLog);
  EXPECT_FALSE(settings.canLogDetail);
  EXPECT_FALSE(settings.canRecordDB);
  EXPECT_EQ(settings.vid, 1234U);
  EXPECT_EQ(settings.pid, 0U);
  EXPECT_EQ(settings.comnum, 0xFFFFFFFFU);
  EXPECT_EQ(settings.comport, 115200U);
  EXPECT_EQ(settings.comname, "/dev/ttyUSB0");
  const ReaderSettings defaults;
  EXPECT_EQ(defaults.vid, 49686U);
  EXPECT_EQ(defaults.pid, 258U);
  EXPECT_EQ(defaults.comport, 57600U);
  EXPECT_EQ(defaults.limitB, "1000");
}

TEST(ReaderSettings, AnEndpointHasExactlyTwoParts) {
  for (const char* other : {"host,9999", "a:b:c", ""}) {
    std::string host = "h";
    std::string port = "9999";
    ApplyEndpoint(other, host, port);
    EXPECT_EQ(host + port, "h9999") << other;
    ApplyEndpoint("svc.example:7000", host, port);
    EXPECT_EQ(host + ":" + port, "svc.example:7000");
  }
}

}  // namespace
}  // namespace idcardreader
