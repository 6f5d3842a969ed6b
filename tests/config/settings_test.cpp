// What the texts of the files beside the library say.

#include <gmock/gmock.h>

#include "config/conf_file.h"
#include "config/data_files.h"
#include "config/service_settings.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
  const auto told = [](const char* text) {
    const ReaderSettings s = ParseConfFile(text);
    return std::vector<std::uint32_t>{s.canLog, s.canPrint, s.vid, s.pid, s.comnum, s.comport};
  };
  EXPECT_THAT(told(""), ElementsAre(0, 1, 0xC216, 0x0102, 1, 57600));
  EXPECT_THAT(told("#\ncanLog: true\ncanPrint: False\nvid: 1234\npid: x9\ncomport: 115200abc\n"),
              ElementsAre(1, 1, 1234, 0, 1, 115200));
  // An id is as it was written: the reader decides what is none.
  EXPECT_THAT(told("#\ncanLog: True\ncanPrint: false\npid: 65536\ncomnum: 3\n"),
              ElementsAre(0, 0, 0xC216, 65536, 3, 57600));
}

TEST(DataFiles, HoldScrambledFieldsBehindTabs) {
  // By hand: 20 is the start; Q^D0 = 81, 81-20 = 61 'a'; J^44 = 0E, 0E-D0-1 = 3D '=';
  // X^2D = 75, 75-44 = 31 '1'.
  EXPECT_EQ(DescrambleField("20D0442D", kDataFileKey), "a=1");
  EXPECT_EQ(DescrambleField("20d0442d5", kDataFileKey), "a=1");
  EXPECT_EQ(DescrambleField("0051", kDataFileKey), "\xFF");  // the mixed byte equals the one before
  EXPECT_EQ(DescrambleField("10E357EA", ""), "x=1");         // without a key the default one
  for (const char* nothing : {"20", "2", ""}) EXPECT_EQ(DescrambleField(nothing, kDataFileKey), "");

  const std::string appId = "label\t5AEA11D9172C2416150C6EE84628080D04";  // appid=0123456789
  const std::string host = "label\t01383F280263DC52D24CD747";             // h=1.2.3.4:5
  // id=a=b keeps what follows the first "="; the last line has no end.
  EXPECT_THAT(DataFileValues(appId + "\r\nlabel\t0038D64CF9608F\n" + host),
              ElementsAre("0123456789", "a=b", "1.2.3.4:5"));
  EXPECT_THAT(DataFileValues(host + "\r00\n"), ElementsAre("1.2.3.4:5"));
  // noequals, e=
  EXPECT_THAT(DataFileValues("\n\r\nno tab\n\t\nx\t5\nx\t0926DF1DDA0725D315\nx\t03393C\n"),
              IsEmpty());
}

TEST(ServiceSettings, AreCutFromTheirTexts) {
  using Rows = std::pair<const char*, const char*>[];
  for (const auto& [text, expected] : Rows{{"svc.example:7000", "svc.example 7000"},
                                           {"1.2.3.4:65535", "1.2.3.4 65535"},
                                           {"h:70000", "h 0"},  // not 4464
                                           {"h:65536", "h 0"},
                                           {"h:-5", "h 0"},
                                           {"h:80x", "h 80"},
                                           {":80", " 80"},
                                           {"host,9999", "none"},
                                           {"a:b:c", "none"},
                                           {"", "none"}}) {
    const auto endpoint = ParseEndpoint(text);
    EXPECT_EQ(endpoint ? endpoint->host + " " + std::to_string(endpoint->port) : "none", expected);
  }
  for (const auto& [code, expected] : Rows{{"app&0102&00-1A&F0", "app|0102|00-1A|F0"},
                                           {"a&b&c", "app001|IDCard|PcDevice|verson"},
                                           {"a&b&c&d&e", "app001|IDCard|PcDevice|verson"}}) {
    const auto [deviceCode, application, hardware, device, version] = IdentityOf(code);
    EXPECT_EQ(deviceCode, code);
    EXPECT_EQ(application + "|" + hardware + "|" + device + "|" + version, expected);
  }
}

}  // namespace
}  // namespace idcardreader
