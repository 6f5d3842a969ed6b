#include "config/conf_file.h"

#include <gtest/gtest.h>

#include <string>

namespace idcardreader {
namespace {

TEST(ConfFile, HasItsLinesAndValuesAsTheyStand) {
  const std::string longName(2000, 'v');
  const std::pair<std::string, std::string> rows[] = {
      // The first line is passed over, unless it is alone or behind a comment.
      {"comname: v\n", "v"},
      {"comname: v\nother: x\n", ""},
      {"first: x\ncomname: v\n", "v"},
      {"# text\ncomname: v\nother: x\n", "v"},
      {";\ncomname: v\nother: x\n", "v"},
      {"comname: v\n# text\nother: x\n", ""},    // the comment comes too late
      {"\n\r\ncomname: v\nother: x\n", ""},      // empty lines are no comments
      {"# a\n\ncomname: v\n;b\nother: x", "v"},  // and are no lines
      {"", ""},
      {"x: y\ncomname: v\ncomname: w", "v"},
      {"x: y\r\ncomname: v\r\n", "v"},
      {"x: y\ncomname: v\rw\n", "v"},
      {"x: y\ncomname: a: b:c \n", "a: b:c "},
      {"x: y\ncomname:v\n comname: v\nComname: v\n", ""},
      // A line ends after 1,023 bytes.
      {std::string(1023, 'x') + "comname: v\n", "v"},
      {std::string(1022, 'x') + "comname: v\n", ""},
      {"x: y\ncomname: " + longName, longName.substr(0, 1014)}};
  for (const auto& [text, name] : rows) EXPECT_EQ(ParseConfFile(text).comname, name) << text;
}

TEST(ConfFile, GivesSwitchesAndNumbers) {
  ReaderSettings settings = ParseConfFile(
      "# comment\ncanLog: true\ncanPrint: False\nvid: 1234\npid: x9\n"
      "comport: 115200abc\n");
  EXPECT_TRUE(settings.canLog && settings.canPrint);
  EXPECT_EQ(settings.vid, 1234U);
  EXPECT_EQ(settings.pid, 0U);
  EXPECT_EQ(settings.comnum, 1U);
  EXPECT_EQ(settings.comport, 115200U);
  settings = ParseConfFile("# comment\ncanLog: True\ncanPrint: false\npid: 65536\ncomnum: 3\n");
  EXPECT_FALSE(settings.canLog || settings.canPrint);
  EXPECT_EQ(settings.vid, 49686U);
  EXPECT_EQ(settings.pid, 65536U);  // as it was written: the reader decides what is no id
  EXPECT_EQ(settings.comnum, 3U);
  EXPECT_EQ(settings.comport, 57600U);
  EXPECT_EQ(ParseConfFile("").pid, 258U);
}

}  // namespace
}  // namespace idcardreader
