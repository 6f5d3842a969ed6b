#include "content/text_block.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>

#include "support/text.h"

namespace idcardreader {
namespace {

// UTF-16LE of ASCII.
std::string Wide(const std::string& text) {
  std::string hex;
  for (const char character : text)
    hex += HexText(std::array<std::uint8_t, 2>{static_cast<std::uint8_t>(character), 0});
  return hex;
}

// That the block of these texts has these bytes at the offset.
void ExpectPart(const ResidentTexts& texts, std::size_t offset, const std::string& hex) {
  EXPECT_EQ(HexText(&BuildTextBlock(texts)[offset], hex.size() / 2), hex) << texts.sex << offset;
}

TEST(TextBlock, CutsALongTextAtTheNextField) {
  const std::string longText(300, 'L');
  const std::string number = "11010119900102002X";
  const std::string authority = "6C51895B405C";
  const struct {
    std::string ResidentTexts::*field;
    std::string value;
    std::size_t offset;
    std::string part;
  } rows[] = {{&ResidentTexts::name, "abcdefghijklmnop", 0, Wide("abcdefghijklmno201")},
              // What the other fields leave of a text that is longer than the block.
              {&ResidentTexts::name, longText, 188, Wide("2020010120400101LLLLLLLLLLLLLLLLLL")},
              {&ResidentTexts::address, longText, 118, Wide("LL" + number) + authority},
              {&ResidentTexts::idNumber, "1234567890123456789", 122,
               Wide("123456789012345678") + authority},
              {&ResidentTexts::issuingAuthority, "abcdefghijklmnopq", 186, Wide("o20200101")},
              {&ResidentTexts::startDate, "202001019", 188, Wide("2020010120400101")},
              {&ResidentTexts::endDate, "long-term", 204, Wide("long-term") + std::string(68, '0')},
              {&ResidentTexts::endDate, longText, 204, Wide(std::string(26, 'L'))}};
  for (const auto& row : rows) {
    ResidentTexts texts = {"张三", "女",     "汉",       "19900102", "北京路1号",
                           number, "公安局", "20200101", "20400101"};
    texts.*row.field = row.value;
    ExpectPart(texts, row.offset, row.part);
  }
}

// A name that is a little different has no code: then its own characters stand there.
TEST(TextBlock, KnowsTheNamesOfTheCodesByteForByte) {
  const auto expect = [](const std::string& sex, const std::string& nation,
                         const std::string& part) {
    ResidentTexts texts;
    texts.sex = sex;
    texts.nation = nation;
    ExpectPart(texts, 30, part);
  };
  // Two and four characters are written, of which a birthday leaves the first 1 and 2.
  expect("xXX", "yzYZY", Wide("xyzYZ"));
  expect("", "", "000000000000");
  expect("男", "汉 ", "3100496C2000");
  expect("男 ", "德昂", "3775B75F0266");
  expect("女", "其他", Wide("297"));
  expect("未知", "其他", Wide("097"));
  expect("未说明", "外国血统", Wide("998"));
  std::istringstream names(  // in the order of their codes
      "解码错 汉 蒙古 回 藏 维吾尔 苗 彝 壮 布依 朝鲜 满 侗 瑶 白 土家 哈尼 哈萨克 傣 黎 傈僳 佤 "
      "畲 高山 拉祜 水 东乡 纳西 景颇 柯尔克孜 土 达斡尔 仫佬 羌 布朗 撒拉 毛南 仡佬 锡伯 阿昌 "
      "普米 塔吉克 怒 乌孜别克 俄罗斯 鄂温克 德昴 保安 裕固 京 塔塔尔 独龙 鄂伦春 赫哲 门巴 珞巴 "
      "基诺 编码错");
  int code = 100;
  for (std::string name; names >> name; ++code) expect("男", name, Wide(std::to_string(code)));
  EXPECT_EQ(code, 158);
}

}  // namespace
}  // namespace idcardreader
