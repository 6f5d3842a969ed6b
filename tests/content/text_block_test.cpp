#include "content/text_block.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "content/code_tables.h"
#include "support/hex_text.h"

namespace idcardreader {
namespace {

constexpr char kNumber[] = "11010119900102002X";

ResidentTexts Resident() {
  return {"张三", "女", "汉", "19900102", "北京路1号", kNumber, "公安局", "20200101", "20400101"};
}

// The block's bytes as hexadecimal digits.
std::string Part(const TextBlock& block, std::size_t offset, std::size_t count) {
  return HexText(&block[offset], count);
}

std::string Zeros(std::size_t bytes) { return std::string(2 * bytes, '0'); }

// UTF-16LE of ASCII.
std::string Wide(const std::string& text) {
  std::string hex;
  for (const char character : text) {
    const std::uint8_t unit[] = {static_cast<std::uint8_t>(character), 0};
    hex += HexText(unit, 2);
  }
  return hex;
}

TEST(TextBlock, PutsEachFieldAtItsPlace) {
  const TextBlock block = BuildTextBlock(Resident());
  EXPECT_EQ(Part(block, 0, 30), "205F094E" + Zeros(26));
  EXPECT_EQ(Part(block, 30, 22), Wide("2") + Wide("01") + Wide("19900102"));
  EXPECT_EQ(Part(block, 52, 70), "1753AC4EEF8D3100F753" + Zeros(60));
  EXPECT_EQ(Part(block, 122, 36), Wide(kNumber));
  EXPECT_EQ(Part(block, 158, 30), "6C51895B405C" + Zeros(24));
  EXPECT_EQ(Part(block, 188, 68), Wide("2020010120400101") + Zeros(36));
}

TEST(TextBlock, WithoutTextsIsZero) {
  EXPECT_EQ(HexText(BuildTextBlock({})), Zeros(kTextBlockSize));
}

struct Overrun {
  const char* name;
  std::string ResidentTexts::*field;
  std::string value;
  std::size_t offset;  // of the part that is looked at
  std::string part;
};

class TextBlockOverrun : public testing::TestWithParam<Overrun> {};

TEST_P(TextBlockOverrun, EndsAtTheNextField) {
  ResidentTexts texts = Resident();
  texts.*GetParam().field = GetParam().value;
  const TextBlock block = BuildTextBlock(texts);
  EXPECT_EQ(Part(block, GetParam().offset, GetParam().part.size() / 2), GetParam().part);
}

const std::string kLong(300, 'L');

INSTANTIATE_TEST_SUITE_P(
    Fields, TextBlockOverrun,
    testing::Values(
        // 16 characters for 15: the sex is what it was.
        Overrun{"Name", &ResidentTexts::name, "abcdefghijklmnop", 0,
                Wide("abcdefghijklmno") + Wide("2") + Wide("01")},
        // Behind the 15 characters of the authority come both dates, then what is left of it.
        Overrun{"NameBeyondTheBlock", &ResidentTexts::name, kLong, 188,
                Wide("2020010120400101") + Wide(std::string(18, 'L'))},
        Overrun{"Address", &ResidentTexts::address, std::string(36, 'A'), 118,
                Wide("AA") + Wide(kNumber)},
        Overrun{"IdNumber", &ResidentTexts::idNumber, "1234567890123456789", 122,
                Wide("123456789012345678") + "6C51895B405C"},
        Overrun{"IssuingAuthority", &ResidentTexts::issuingAuthority, "abcdefghijklmnopq", 186,
                Wide("o20200101")},
        Overrun{"StartDate", &ResidentTexts::startDate, "202001019", 188, Wide("2020010120400101")},
        Overrun{"EndDateIntoTheReserve", &ResidentTexts::endDate, "long-term", 204,
                Wide("long-term") + Zeros(34)},
        Overrun{"EndDateIsClipped", &ResidentTexts::endDate, kLong, 204,
                Wide(std::string(26, 'L'))}),
    [](const auto& overrun) { return overrun.param.name; });

struct UncodedCase {
  const char* sex;
  const char* nation;
  const char* birthday;
  std::string part;  // from the sex on
};

TEST(TextBlock, WritesTextsWithoutACodeAsTheyStand) {
  const UncodedCase kCases[] = {
      {"x", "yz", "1990", Wide("xyz1990")},
      // Two and four characters, of which the field behind overwrites all but the first 1 and 2.
      {"xX", "yzYZ", "1990", Wide("xyz1990")},
      // Without a birthday nothing overwrites.
      {"xXX", "yzYZY", "", Wide("xyzYZ") + Zeros(4)},
      {"", "", "1990", Zeros(6) + Wide("1990")},
      {"男", "汉 ", "", "3100496C2000" + Zeros(4)},
      {"未知", "蒙", "",
       "300099"
       "84" +
           Zeros(6)},
  };
  for (const UncodedCase& row : kCases) {
    ResidentTexts texts;
    texts.sex = row.sex;
    texts.nation = row.nation;
    texts.birthday = row.birthday;
    EXPECT_EQ(Part(BuildTextBlock(texts), 30, row.part.size() / 2), row.part)
        << row.sex << row.nation;
  }
}

TEST(CodeTables, KnowTheNamesByteForByte) {
  EXPECT_EQ(SexCode("未知"), "0");
  EXPECT_EQ(SexCode("男"), "1");
  EXPECT_EQ(SexCode("女"), "2");
  EXPECT_EQ(SexCode("未说明"), "9");
  EXPECT_EQ(SexCode("男 "), "");
  const std::string names[] = {
      "解码错", "汉",   "蒙古",     "回",    "藏",     "维吾尔", "苗",   "彝",       "壮",
      "布依",   "朝鲜", "满",       "侗",    "瑶",     "白",     "土家", "哈尼",     "哈萨克",
      "傣",     "黎",   "傈僳",     "佤",    "畲",     "高山",   "拉祜", "水",       "东乡",
      "纳西",   "景颇", "柯尔克孜", "土",    "达斡尔", "仫佬",   "羌",   "布朗",     "撒拉",
      "毛南",   "仡佬", "锡伯",     "阿昌",  "普米",   "塔吉克", "怒",   "乌孜别克", "俄罗斯",
      "鄂温克", "德昴", "保安",     "裕固",  "京",     "塔塔尔", "独龙", "鄂伦春",   "赫哲",
      "门巴",   "珞巴", "基诺",     "编码错"};
  for (int code = 0; code <= 57; ++code) {
    EXPECT_EQ(NationCode(names[code]), (code < 10 ? "0" : "") + std::to_string(code));
  }
  EXPECT_EQ(NationCode("其他"), "97");
  EXPECT_EQ(NationCode("外国血统"), "98");
  for (const char* other : {"", "德昂", "汉族", "入籍"}) {
    EXPECT_EQ(NationCode(other), "") << other;
  }
}

}  // namespace
}  // namespace idcardreader
