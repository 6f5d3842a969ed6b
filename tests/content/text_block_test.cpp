#include "content/text_block.h"

#include <gtest/gtest.h>

#include <string>

#include "support/text.h"

namespace idcardreader {
namespace {

constexpr char kNumber[] = "11010119900102002X";
constexpr char kAuthority[] = "6C51895B405C";  // of the resident below

ResidentTexts Resident() {
  return {"张三", "女", "汉", "19900102", "北京路1号", kNumber, "公安局", "20200101", "20400101"};
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

// That the block of these texts has these bytes at the offset.
void ExpectPart(const ResidentTexts& texts, std::size_t offset, const std::string& hex) {
  EXPECT_EQ(HexText(&BuildTextBlock(texts)[offset], hex.size() / 2), hex) << texts.sex << offset;
}

TEST(TextBlock, CutsALongTextAtTheNextField) {
  const std::string longText(300, 'L');
  const auto with = [](std::string ResidentTexts::*field, const std::string& value) {
    ResidentTexts texts = Resident();
    texts.*field = value;
    return texts;
  };
  ExpectPart(with(&ResidentTexts::name, "abcdefghijklmnop"), 0, Wide("abcdefghijklmno201"));
  // What the other fields leave of a text that is longer than the block.
  ExpectPart(with(&ResidentTexts::name, longText), 188,
             Wide("2020010120400101") + Wide(std::string(18, 'L')));
  ExpectPart(with(&ResidentTexts::address, longText), 118, Wide("LL") + Wide(kNumber) + kAuthority);
  ExpectPart(with(&ResidentTexts::idNumber, "1234567890123456789"), 122,
             Wide("123456789012345678") + kAuthority);
  ExpectPart(with(&ResidentTexts::issuingAuthority, "abcdefghijklmnopq"), 186, Wide("o20200101"));
  ExpectPart(with(&ResidentTexts::startDate, "202001019"), 188, Wide("2020010120400101"));
  ExpectPart(with(&ResidentTexts::endDate, "long-term"), 204, Wide("long-term") + Zeros(34));
  ExpectPart(with(&ResidentTexts::endDate, longText), 204, Wide(std::string(26, 'L')));
}

TEST(TextBlock, WritesASexOrNationWithoutACodeAsItStands) {
  const auto expect = [](const char* sex, const char* nation, const char* birthday,
                         const std::string& part) {
    ResidentTexts texts;
    texts.sex = sex;
    texts.nation = nation;
    texts.birthday = birthday;
    ExpectPart(texts, 30, part);
  };
  expect("x", "yz", "1990", Wide("xyz1990"));
  // Two and four characters are written, of which the next field leaves the first 1 and 2.
  expect("xX", "yzYZ", "1990", Wide("xyz1990"));
  expect("xXX", "yzYZY", "", Wide("xyzYZ") + Zeros(4));
  expect("", "", "1990", Zeros(6) + Wide("1990"));
  expect("男", "汉 ", "", "3100496C2000" + Zeros(4));
}

// A name that is a little different has no code: then its own characters stand there.
TEST(TextBlock, KnowsTheNamesOfTheCodesByteForByte) {
  const auto codes = [](const std::string& sex, const std::string& nation) {
    ResidentTexts texts;
    texts.sex = sex;
    texts.nation = nation;
    return HexText(&BuildTextBlock(texts)[30], 6);
  };
  int sex = 0;
  for (const char* name : {"未知", "男", "女"}) {
    EXPECT_EQ(codes(name, "其他"), Wide(std::to_string(sex++) + "97")) << name;
  }
  EXPECT_EQ(codes("未说明", "外国血统"), Wide("998"));
  // In the order of their codes.
  const std::string names =
      "解码错 汉 蒙古 回 藏 维吾尔 苗 彝 壮 布依 朝鲜 满 侗 瑶 白 土家 哈尼 哈萨克 傣 黎 傈僳 佤 "
      "畲 高山 拉祜 水 东乡 纳西 景颇 柯尔克孜 土 达斡尔 仫佬 羌 布朗 撒拉 毛南 仡佬 锡伯 阿昌 "
      "普米 塔吉克 怒 乌孜别克 俄罗斯 鄂温克 德昴 保安 裕固 京 塔塔尔 独龙 鄂伦春 赫哲 门巴 珞巴 "
      "基诺 编码错 ";
  int code = 0;
  for (std::size_t begin = 0; begin < names.size(); ++code) {
    const std::size_t end = names.find(' ', begin);
    EXPECT_EQ(codes("男", names.substr(begin, end - begin)),
              Wide((code < 10 ? "10" : "1") + std::to_string(code)));
    begin = end + 1;
  }
  EXPECT_EQ(code, 58);
  EXPECT_EQ(codes("男 ", "德昂"), "3775B75F0266");  // the nation begins behind the first
}

}  // namespace
}  // namespace idcardreader
