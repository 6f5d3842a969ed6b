#include "config/conf_file.h"

#include <gtest/gtest.h>

#include <string>

#include "config/reader_settings.h"

namespace idcardreader {
namespace {

std::string ValueOfK(const std::string& file) { return ConfFile::FromText(file).Text("k", "none"); }

TEST(ConfFile, PassesTheFirstLineOverUnlessItIsAloneOrBehindAComment) {
  EXPECT_EQ(ValueOfK("k: v\n"), "v");
  EXPECT_EQ(ValueOfK("k: v\nother: x\n"), "none");
  EXPECT_EQ(ValueOfK("first: x\nk: v\n"), "v");
  EXPECT_EQ(ValueOfK("# text\nk: v\nother: x\n"), "v");
  EXPECT_EQ(ValueOfK(";\nk: v\nother: x\n"), "v");
  EXPECT_EQ(ValueOfK("k: v\n# text\nother: x\n"), "none");  // the comment comes too late
  EXPECT_EQ(ValueOfK("\n\r\nk: v\nother: x\n"), "none");    // empty lines are no comments
  EXPECT_EQ(ValueOfK("# a\n\nk: v\n;b\n"), "v");
  EXPECT_EQ(ValueOfK(""), "none");
}

TEST(ConfFile, TakesAKeyAndItsValueAsTheyStand) {
  EXPECT_EQ(ValueOfK("x: y\nk: v\nk: w"), "v");
  EXPECT_EQ(ValueOfK("x: y\r\nk: v\r\n"), "v");
  EXPECT_EQ(ValueOfK("x: y\nk: v\rw\n"), "v");
  EXPECT_EQ(ValueOfK("x: y\nk: a: b:c \n"), "a: b:c ");
  EXPECT_EQ(ValueOfK("x: y\nk: \n"), "");
  EXPECT_EQ(ValueOfK("x: y\nk:v\n k: v\nK: v\n"), "none");
}

TEST(ConfFile, CutsALineAfter1023Bytes) {
  EXPECT_EQ(ValueOfK(std::string(1023, 'x') + "k: v\n"), "v");
  EXPECT_EQ(ValueOfK(std::string(1022, 'x') + "k: v\n"), "none");
  EXPECT_EQ(ValueOfK("x: y\nk: " + std::string(2000, 'v')), std::string(1020, 'v'));
}

TEST(ReaderSettings, TakeSwitchesAndNumbersFromTheFile) {
  ReaderSettings settings;
  EXPECT_EQ(settings.vid, 49686U);
  EXPECT_EQ(settings.comport, 57600U);
  settings.ApplyConfFile(
      ConfFile::FromText("# comment\ncanLog: true\ncanPrint: False\nvid: 1234\npid: x9\n"
                         "comport: 115200abc\ncomname: /dev/ttyUSB0\n"));
  EXPECT_TRUE(settings.canLog);
  EXPECT_TRUE(settings.canPrint);
  EXPECT_EQ(settings.vid, 1234U);
  EXPECT_EQ(settings.pid, 0U);
  EXPECT_EQ(settings.comnum, 1U);
  EXPECT_EQ(settings.comport, 115200U);
  EXPECT_EQ(settings.comname, "/dev/ttyUSB0");
  settings.ApplyConfFile(
      ConfFile::FromText("# comment\ncanLog: True\ncanPrint: false\nvid: 65536\n"));
  EXPECT_FALSE(settings.canLog || settings.canPrint);
  EXPECT_EQ(settings.vid, 65536U);  // as it was written: the reader decides what is no id
}

TEST(ReaderSettings, AnEndpointHasExactlyTwoParts) {
  std::string host = "h";
  std::string port = "9999";
  for (const char* other : {"host,9999", "a:b:c", ""}) ApplyEndpoint(other, host, port);
  EXPECT_EQ(host + port, "h9999");
  ApplyEndpoint("svc.example:7000", host, port);
  EXPECT_EQ(host + port, "svc.example7000");
}

}  // namespace
}  // namespace idcardreader
