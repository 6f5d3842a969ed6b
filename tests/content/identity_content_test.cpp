#include "content/identity_content.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "content/image_area.h"
#include "support/bytes.h"
#include "support/hex_text.h"

namespace idcardreader {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// "key":[0,1,...,99,0,...], so that a byte tells where it comes from.
std::string Array(const std::string& key, int count) {
  std::string text = '"' + key + "\":[";
  for (int index = 0; index < count; ++index) {
    text += (index == 0 ? "" : ",") + std::to_string(index % 100);
  }
  return text + "]";
}

std::vector<std::uint8_t> ArrayBytes(int first, int count) {
  std::vector<std::uint8_t> bytes;
  for (int index = first; index < first + count; ++index) {
    bytes.push_back(static_cast<std::uint8_t>(index % 100));
  }
  return bytes;
}

const std::string kImage = Array("image", 1025);
const std::string kPhoto = HexText(ArrayBytes(0, 1024));

IdentityContent Parse(const std::string& text) { return ParseIdentityContent(text, true, false); }

IdentityContent ParseCard(const std::string& type, const std::string& object,
                          const std::string& fields) {
  return Parse(R"({"type":")" + type + R"(",")" + object + R"(":{)" + fields + "}}");
}

std::map<std::int32_t, std::string> Fields(const IdentityContent& content) {
  return {content.entries.begin(), content.entries.end()};
}

const std::string kTexts =
    R"("name":"李 四","sex":"男","nation":"汉","birthday":"19900102","address":"上海市浦东新区 1 号",)"
    R"("id":"310115199001020010","issue":"公安 部","startDate":"20200101","endDate":"长期",)";
const std::string kAddress = Text("C9CFBAA3CAD0C6D6B6ABD0C2C7F831BAC5");

TEST(IdentityContent, OfAResidentCard) {
  const IdentityContent content = ParseCard("idenCard", "idCard", kTexts + kImage);
  EXPECT_THAT(content.entries,
              ElementsAre(Pair(41, "1"), Pair(32, "310115199001020010"), Pair(33, kAddress),
                          Pair(34, Text("B9ABB0B2B2BF")), Pair(35, Text("C0EECBC4")),
                          Pair(36, Text("BABA")), Pair(37, Text("C4D0")),
                          Pair(40, Text("B3A4C6DA")), Pair(39, "20200101"), Pair(38, "19900102"),
                          // Here the blank of the name stays.
                          Pair(28, testing::StartsWith("4E672000DB5600")), Pair(29, kPhoto),
                          Pair(50, "Success")));
}

TEST(IdentityContent, OfAResidencePermit) {
  const IdentityContent content =
      ParseCard("gat", "gatCard", kTexts + R"("passCheckId":"H 123","nationlity":"a/b")");
  EXPECT_THAT(content.entries,
              ElementsAre(Pair(32, "310115199001020010"), Pair(33, kAddress),
                          Pair(34, Text("B9ABB0B2B2BF")), Pair(35, Text("C0EECBC4")), Pair(36, ""),
                          Pair(37, Text("C4D0")), Pair(40, Text("B3A4C6DA")), Pair(39, "20200101"),
                          Pair(38, "19900102"), Pair(42, "H 123"), Pair(43, ""),
                          Pair(50, "Success"), Pair(41, "2")));
}

TEST(IdentityContent, OfPermanentResidenceCards) {
  const std::string texts =
      R"("nameChinese":"李 四","name":"no","nameEnglish":"JOHN Q","nameEnglishAdd":" PUB LIC",)"
      R"("nationlity":"美国/USA","nation":"no","address":"no","sex":"男","id":"USA 1",)"
      R"("passCheckId":"no",)";
  const auto expect = [](const IdentityContent& content, const char* english, const char* digit) {
    EXPECT_THAT(
        content.entries,
        ElementsAre(Pair(32, "USA 1"), Pair(33, ""), Pair(34, ""), Pair(35, Text("C0EECBC4")),
                    Pair(36, ""), Pair(37, Text("C4D0")), Pair(40, ""), Pair(44, Text("C3C0B9FA")),
                    Pair(45, "USA"), Pair(39, ""), Pair(38, ""), Pair(42, ""), Pair(43, english),
                    Pair(50, "Success"), Pair(41, digit), Pair(29, kPhoto)));
  };
  expect(ParseCard("yjzold", "yjzOldCard", texts + kImage), "JOHNQ", "3");
  expect(ParseCard("yjznew", "yjzNewCard", texts + kImage), "JOHNQPUBLIC", "4");
}

TEST(IdentityContent, TakesTheFirstTypeWordOfTheListThatIsThere) {
  const auto type = [](const char* text) {
    const IdentityContent content = Parse(text);
    EXPECT_EQ(content.entries.empty(), !content.typeKnown) << text;
    return content.typeKnown ? static_cast<int>(content.type) : -1;
  };
  EXPECT_EQ(type(R"({"type":"x-iden-y"})"), 1);
  EXPECT_EQ(type(R"({"type":"yjznew,yjzold,gat,iden"})"), 1);
  EXPECT_EQ(type(R"({"type":"yjznewgat"})"), 2);
  EXPECT_EQ(type(R"({"type":"yjznewyjzold"})"), 3);
  EXPECT_EQ(type(R"({"type":"yjznew"})"), 4);
  for (const char* other : {R"({"type":"ide"})", R"({"type":"IDEN"})", R"({"type":""})",
                            R"({"type":"iden)", R"({"kind":"iden"})", "x"}) {
    EXPECT_EQ(type(other), -1) << other;
  }
}

TEST(IdentityContent, SearchesTheCardsObjectAloneUpToItsFirstBrace) {
  auto fields = Fields(Parse(R"({"sex":"x","type":"gat","gatCard":{"id":"1","inner":{"a":"b"},)"
                             R"("name":"late"},"issue":"out"})"));
  EXPECT_EQ(fields.at(32), "1");
  EXPECT_EQ(fields.at(35) + fields.at(34) + fields.at(37), "");
  fields = Fields(ParseCard("gat", "otherCard", kTexts + kImage));
  EXPECT_EQ(fields.at(35), "");
  EXPECT_EQ(fields.at(50), "Success");
  EXPECT_EQ(fields.count(29), 0U);
  fields = Fields(ParseCard("iden", "otherCard", kTexts + kImage));
  EXPECT_EQ(fields.at(28), std::string(512, '0'));
  EXPECT_EQ(fields.count(29) + fields.count(50), 0U);
}

TEST(IdentityContent, WithoutAnAnswerHasNoType) {
  const IdentityContent content =
      ParseIdentityContent(R"({"type":"iden","id":"7",)" + kImage + "}", false, true);
  const auto fields = Fields(content);
  EXPECT_TRUE(content.typeKnown);
  EXPECT_EQ(fields.at(32) + fields.at(50), "7Success");
  EXPECT_EQ(fields.count(29), 1U);
  EXPECT_EQ(fields.count(41) + fields.count(28), 0U);
}

TEST(IdentityContent, ALongNameSpoilsNoOtherField) {
  const std::string name(40, 'N');
  const auto fields = Fields(ParseCard(
      "iden", "idCard", R"("name":")" + name + R"(","sex":"女","nation":"藏","id":"1",)" + kImage));
  EXPECT_EQ(fields.at(35), name);
  EXPECT_EQ(fields.at(36) + fields.at(37), Gbk("藏女"));
  EXPECT_EQ(fields.at(28).substr(60, 12), "320030003400");
}

TEST(IdentityContent, ConvertsNamesAsWindowsDoes) {
  const auto name = [](const std::string& utf8) {
    return Fields(ParseCard("gat", "gatCard", R"("name":")" + utf8 + R"(","id":"1")")).at(35);
  };
  EXPECT_EQ(name("\xEE\x80\x80"), Text("AAA1"));  // U+E000, where old cards keep rare characters
  EXPECT_EQ(name("\xEE\x9D\xA5"), Text("A7A0"));  // U+E765
  EXPECT_EQ(name("\xF0\xA0\xAE\xB7"), "??");      // one for each unit
  EXPECT_EQ(name("张\xE3\x80\x80三 \t"), Text("D5C5A1A1C8FD09"));  // blanks alone are taken out
}

TEST(IdentityContent, SplitsTheNationalityAtItsFirstSlash) {
  const auto split = [](const std::string& nationality) {
    auto fields = Fields(
        ParseCard("yjzold", "yjzOldCard", R"("nationlity":")" + nationality + R"(","id":"1")"));
    return fields.count(44) + fields.count(45) == 0 ? "none" : fields[44] + "|" + fields[45];
  };
  EXPECT_EQ(split("United States/USA"), "United States|USA");
  EXPECT_EQ(split(" a b / c/d "), " a b | c/d ");
  EXPECT_EQ(split("/"), "|");
  EXPECT_EQ(split("USA"), "none");
}

TEST(ImageArea, HoldsAPhotoFrom1025ElementsOn) {
  for (const int count : {0, 1023, 1024, 1025, 2330, 5000}) {
    EXPECT_EQ(ReadPhotoBlock("{" + Array("image", count) + "}"),
              ArrayBytes(0, count > 1024 ? 1024 : 0))
        << count;
  }
  EXPECT_THAT(ReadPhotoBlock("{}"), IsEmpty());
  EXPECT_EQ(Fields(ParseCard("iden", "idCard", Array("image", 1024))).count(50), 0U);
}

TEST(ImageArea, TakesARawFrameApart) {
  for (const int count :
       {0, 269, 270, 1293, 1294, 1295, 1806, 1807, 1808, 2318, 2319, 2320, 4000}) {
    const CardBlocks blocks = ReadRawFrame("{" + Array("data", count) + "}");
    const int fingerprint = count == 1807 ? 512 : (count == 2319 ? 1024 : 0);
    EXPECT_EQ(blocks.text, ArrayBytes(14, count >= 270 ? 256 : 0)) << count;
    EXPECT_EQ(blocks.photo, ArrayBytes(270, count >= 1294 ? 1024 : 0)) << count;
    EXPECT_EQ(blocks.fingerprint, ArrayBytes(1294, fingerprint)) << count;
  }
  // Without a photo in it there is the image.
  EXPECT_EQ(ReadRawFrame("{" + Array("data", 300) + "," + kImage + "}").photo, ArrayBytes(0, 1024));
  // A missing frame counts as one of zeros.
  const CardBlocks missing = ReadRawFrame("{" + kImage + "}");
  EXPECT_EQ(missing.text, std::vector<std::uint8_t>(256));
  EXPECT_EQ(missing.photo, std::vector<std::uint8_t>(1024));
  EXPECT_THAT(missing.fingerprint, IsEmpty());
}

}  // namespace
}  // namespace idcardreader
