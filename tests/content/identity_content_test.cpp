#include "content/identity_content.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "support/bytes.h"

namespace idcardreader {
namespace {

// "key":[0,1,...,99,0,...], so that a byte tells where it comes from.
std::string Array(const std::string& key, int count) {
  std::string text = '"' + key + "\":[";
  for (int index = 0; index < count; ++index) {
    text += (index == 0 ? "" : ",") + std::to_string(index % 100);
  }
  return text + "]";
}

const std::string kImage = Array("image", 1025);

std::map<int, std::string> Fields(const std::string& text) {
  std::map<int, std::string> fields;
  for (const auto& [item, value] : ParseIdentityContent(text, true, false).entries) {
    fields.emplace(static_cast<int>(item), value);
  }
  return fields;
}

std::map<int, std::string> CardFields(const std::string& type, const std::string& object,
                                      const std::string& fields) {
  return Fields(R"({"type":")" + type + R"(",")" + object + R"(":{)" + fields + "}}");
}

TEST(IdentityContent, TakesTheFirstTypeWordOfTheListThatIsThere) {
  const std::pair<const char*, int> rows[] = {{R"({"type":"yjznew,yjzold,gat,iden"})", 1},
                                              {R"({"type":"yjznewgat"})", 2},
                                              {R"({"type":"yjznewyjzold"})", 3},
                                              {R"({"type":"yjznew"})", 4},
                                              {R"({"type":"IDEN"})", 0},
                                              {R"({"type":"iden)", 0},
                                              {R"({"kind":"iden"})", 0}};
  for (const auto& [text, type] : rows) {
    EXPECT_EQ(ParseIdentityContent(text, true, false).typeKnown, type != 0) << text;
    auto fields = Fields(text);
    EXPECT_EQ(fields.empty(), type == 0) << text;
    EXPECT_EQ(fields[41], type == 0 ? "" : std::to_string(type)) << text;
  }
}

TEST(IdentityContent, SearchesTheCardsObjectAloneUpToItsFirstBrace) {
  auto fields = Fields(R"({"sex":"x","type":"gat","gatCard":{"id":"1","inner":{"a":"b"},)"
                       R"("name":"late"},"issue":"out"})");
  EXPECT_EQ(fields.at(32), "1");
  EXPECT_EQ(fields.at(35) + fields.at(34) + fields.at(37), "");
  fields = CardFields("gat", "otherCard", kImage);
  EXPECT_EQ(fields.at(50), "Success");
  EXPECT_EQ(fields.count(29), 0U);
  fields = CardFields("iden", "otherCard", kImage);
  EXPECT_EQ(fields.at(28), std::string(512, '0'));
  EXPECT_EQ(fields.count(29) + fields.count(50), 0U);
}

// Items, and the same without its spaces where they go.
TEST(IdentityContent, KeepsOrDropsTheSpacesOfAText) {
  const std::string numbers =
      R"("id":"3 1","startDate":"20 20","endDate":" 20 30","birthday":"1 9",)";
  const std::string others = R"("sex":" 男","issue":"公安 部 局 ","address":" 上 海",)";
  std::map<int, std::string> expected = {{32, "3 1"},      {39, "20 20"},    {40, " 20 30"},
                                         {38, "1 9"},      {37, Gbk(" 男")}, {34, Gbk("公安部局")},
                                         {33, Gbk("上海")}};
  const auto expect = [&](const std::string& type, const std::string& object,
                          const std::string& own, const std::map<int, std::string>& ownItems) {
    auto fields = CardFields(type, object, own + numbers + others + R"("end":"")");
    for (const auto& [item, text] : ownItems) expected[item] = text;
    for (const auto& [item, text] : expected) EXPECT_EQ(fields[item], text) << type << item;
  };
  expect("iden", "idCard", R"("name":"李 四","nation":" 汉",)",
         {{35, Gbk("李四")}, {36, Gbk(" 汉")}});
  expect("gat", "gatCard", R"("name":"李 四","nation":"x","passCheckId":"H 1",)",
         {{36, ""}, {42, "H 1"}});
  expect(
      "yjznew", "yjzNewCard",
      R"("nameChinese":"李 明","nameEnglish":"A B","nameEnglishAdd":" C D","passCheckId":"H 1",)",
      {{33, ""}, {35, Gbk("李明")}, {42, ""}, {43, "ABCD"}});
}

TEST(IdentityContent, SplitsTheNationalityAtItsFirstSlash) {
  for (const auto& [nationality, country, code] :
       {std::tuple{" a b / c/d ", " a b ", " c/d "}, {"/", "", ""}, {"USA", "none", ""}}) {
    auto fields = CardFields("yjzold", "yjzOldCard",
                             R"("nationlity":")" + std::string(nationality) + R"(","id":"1")");
    EXPECT_EQ(fields.count(44) == 0 ? "none" : fields[44], country);
    EXPECT_EQ(fields[45], code);
  }
}

TEST(IdentityContent, HasAPhotoFrom1025ElementsOn) {
  EXPECT_EQ(CardFields("iden", "idCard", Array("image", 1024)).count(50), 0U);
  auto fields = CardFields("iden", "idCard", kImage);
  const std::string photo = fields.at(29);
  EXPECT_EQ(photo.size(), 2048U);
  EXPECT_EQ(photo.substr(0, 8) + photo.substr(2040), "0001020314151617");
}

TEST(RawFrame, IsTakenApartByItsLength) {
  for (const int count : {269, 270, 1293, 1294, 1806, 1807, 1808, 2319, 2320}) {
    const CardBlocks blocks = ReadRawFrame("{" + Array("data", count) + "}");
    EXPECT_EQ(blocks.text.size(), count < 270 ? 0U : 256U) << count;
    EXPECT_EQ(blocks.photo.size(), count < 1294 ? 0U : 1024U) << count;
    EXPECT_EQ(blocks.fingerprint.size(), count == 1807 ? 512U : count == 2319 ? 1024U : 0U);
  }
  // Without a photo in it there is the image; a missing frame counts as one of zeros.
  EXPECT_EQ(ReadRawFrame("{" + Array("data", 300) + "," + kImage + "}").photo.size(), 1024U);
  EXPECT_EQ(ReadRawFrame("{}").text, std::vector<std::uint8_t>(256));
}

}  // namespace
}  // namespace idcardreader
